#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QWidget>

class QLabel;
class QPushButton;
class VXTextLabel;

/** What stands in place of a list that has nothing: what belongs there, and a button for the first step. Main thread only. */
class VX_INTERFACE_EXPORT VXEmptyState : public QWidget
{
    Q_OBJECT

public:
    /** `symbol`: by name (VXSymbol). */
    VXEmptyState(const QString &symbol, const QString &title, const QString &text, QWidget *parent = nullptr);
    ~VXEmptyState() override;

    void setTexts(const QString &title, const QString &text);
    /** The button; null takes it away. It is pressed with Return, and `actionWanted` tells. */
    void setActionTitle(const QString &title);

Q_SIGNALS:
    void actionWanted();

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateSymbol();

    const QString _symbol;
    QLabel *const _picture;
    VXTextLabel *const _title;
    VXTextLabel *const _text;
    QPushButton *const _button;
};
