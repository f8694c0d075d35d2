#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QWidget>

class QBoxLayout;
class QLabel;
class QPushButton;
class VXTextLabel;

/**
 * Shown in place of missing contents: a drawing, a text about what belongs there, and up to two buttons for a first
 * step. What is in it is made when it is first shown, since most are never seen. Main thread only.
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

    void setVisible(bool visible) override;

Q_SIGNALS:
    void actionWanted();
    void secondActionWanted();

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Contents
    {
        QString symbol;
        QString title;
        QString text;
        QString action;
        QString secondAction;
    };

    void make();
    void fill();
    void updateSymbol();
    void place();

    Contents _contents;
    QLabel *_picture = nullptr; // it and the others are null until they are made
    VXTextLabel *_title = nullptr;
    VXTextLabel *_text = nullptr;
    QPushButton *_button = nullptr;
    QPushButton *_secondButton = nullptr;
    QBoxLayout *_buttons = nullptr;
};
