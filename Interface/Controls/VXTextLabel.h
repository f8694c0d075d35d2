#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QLabel>

/**
 * A text that wraps and takes the height it needs, in one of the few sizes that the windows have. Plain text: what comes from
 * outside is never taken for markup. It begins where the layout does, whatever it is written in.
 */
class VX_INTERFACE_EXPORT VXTextLabel : public QLabel
{
    Q_OBJECT

public:
    enum class Role {
        Headline, // of a page
        Title,    // of a window or a group
        Body,
        Secondary, // what explains
        Caption,   // small, beside something
    };

    explicit VXTextLabel(const QString &text = {}, Role role = Role::Body, QWidget *parent = nullptr);

    Role role() const { return _role; }
    void setText(const QString &text);
    /** Wraps at this width; 0 gives the width to the layout again. */
    void setTextWidth(int width);

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void updateFont();
    void followDirection();
    void fit();

    const Role _role;
    int _fittedWidth = 0; // that the height is made for; 0: none yet
    bool _isUpdatingFont = false;
};
