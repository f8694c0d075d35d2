#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QWidget>

class QBoxLayout;
class QLabel;
class QPushButton;
class VXTextLabel;

/**
 * Shown in place of missing contents: a drawing, a text about what belongs there, and up to two buttons for a first
 * step. Main thread only.
 */
class VX_INTERFACE_EXPORT VXEmptyState : public QWidget
{
    Q_OBJECT

public:
    /** Empty, for `setContents`. */
    explicit VXEmptyState(QWidget *parent = nullptr) : VXEmptyState({}, {}, {}, parent) {}
    /** `symbol`: the name of a VXSymbol. */
    VXEmptyState(const QString &symbol, const QString &title, const QString &text, QWidget *parent = nullptr);
    ~VXEmptyState() override;

    void setTexts(const QString &title, const QString &text);
    /** Sets everything; an empty text or title removes its element. */
    void setContents(const QString &symbol, const QString &title, const QString &text, const QString &action = {},
                     const QString &secondAction = {});
    /** Sets the title of the first button, which Return presses. */
    void setActionTitle(const QString &title);

Q_SIGNALS:
    void actionWanted();
    void secondActionWanted();

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void updateSymbol();
    void place();

    QString _symbol;
    QLabel *const _picture;
    VXTextLabel *const _title;
    VXTextLabel *const _text;
    QPushButton *const _button;
    QPushButton *const _secondButton;
    QBoxLayout *const _buttons;
};
