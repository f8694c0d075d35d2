#pragma once

#include "VXEventRecord.h"

#include <QtWidgets/QScrollArea>

class QPushButton;
class VXTextLabel;

/** One event of the history: what it was, and why something did or did not come of it. */
class VXEventPage : public QScrollArea
{
    Q_OBJECT

public:
    explicit VXEventPage(QWidget *parent);

    void setEvent(const VXEventRecord &event);

Q_SIGNALS:
    void wantsReplay();

private:
    VXTextLabel *_title;
    VXTextLabel *_date;
    VXTextLabel *_why;
    QPushButton *_again;
};
