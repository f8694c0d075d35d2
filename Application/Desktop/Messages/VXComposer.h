#pragma once

#include <QtWidgets/QWidget>

class QPlainTextEdit;
class QPushButton;
class VXDevicePopupButton;
class VXTextLabel;

/**
 * Where a message is written: the text, the number of its characters and parts, and the button that sends it, with the
 * choice of the phone. Return sends, Shift+Return begins a new line.
 */
class VXComposer : public QWidget
{
    Q_OBJECT

public:
    explicit VXComposer(QWidget *parent);

    QString text() const;
    /** Replaces the text; cannot be undone. */
    void setText(const QString &text);
    /** Adds to what is typed, on a line of its own, as a single step for undo. */
    void addText(const QString &text);
    /** Why nothing can be sent at the moment, shown beside the button; null if sending is possible. */
    void setObstacle(const QString &reason);
    void focusText();
    /** The phone that sends the message; shown if there are several. */
    VXDevicePopupButton &phone() { return *_phone; }
    /** Shows or hides the choice of phones. */
    void updatePhones();

Q_SIGNALS:
    void wantsSend(const QString &text);
    /** The text has changed: a draft to be kept. */
    void textDidChange();

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void update();
    void send();

    QPlainTextEdit *_edit;
    VXDevicePopupButton *_phone;
    VXTextLabel *_counter;
    QPushButton *_send;
    QString _obstacle;
};
