#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QLabel>

/**
 * A text that wraps and takes the height it needs, in one of the few sizes used in windows. Plain text: markup in texts
 * from outside is never interpreted. It is aligned with the layout direction, whatever the direction of the text.
 */
class VX_INTERFACE_EXPORT VXTextLabel : public QLabel
{
    Q_OBJECT

public:
    enum class Role {
        Headline, // of a page
        Title,    // of a window or a group
        Body,
        Secondary, // explanations
        Caption,   // small, beside something
    };

    explicit VXTextLabel(const QString &text = {}, Role role = Role::Body, QWidget *parent = nullptr);

    Role role() const { return _role; }
    void setText(const QString &text);
    /** Sets the width for wrapping; 0 leaves it to the layout again. */
    void setTextWidth(int width);

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void updateFont();
    void followDirection();
    void fit();

    const Role _role;
    int _fittedWidth = 0; // for which the height was computed; 0: none yet
    bool _isUpdatingFont = false;
};
