#pragma once

#include <QtWidgets/QDialog>

/** Welcomes users who start the program for the first time, and guides them to their first phone or file. */
class VXAssistant : public QDialog
{
    Q_OBJECT

public:
    explicit VXAssistant(QWidget *parent);

Q_SIGNALS:
    void wantsPhone();
    void wantsContacts();
    void wantsMessages();

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
