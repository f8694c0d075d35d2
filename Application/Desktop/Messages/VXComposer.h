#pragma once

#include <QtWidgets/QWidget>

class QPlainTextEdit;
class QPushButton;
class VXDevicePopupButton;
class VXTextLabel;

/** Where a message is written: the text, how many characters and parts it has, and the button that sends it, by which phone. Return sends, Shift+Return
 *  begins a line. */
class VXComposer : public QWidget
{
    Q_OBJECT

public:
    explicit VXComposer(QWidget *parent);

    QString text() const;
    void setText(const QString &text);
    /** Why nothing can be sent just now, beside the button; null when it can. */
    void setObstacle(const QString &reason);
    void focusText();
    /** By which phone it goes; shown where there are several. */
    VXDevicePopupButton &phone() { return *_phone; }
    /** Shows it, or not. */
    void updatePhones();

Q_SIGNALS:
    void wantsSend(const QString &text);
    /** What is written is another text: a draft to be kept. */
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
