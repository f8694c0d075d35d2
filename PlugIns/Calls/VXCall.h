#pragma once

#include "VXCallRecord.h"
#include "VXPhonebookRecord.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

/** What an event says about a call. */
struct VXCallNews
{
    QString state;     // "ringing", "connected" or "ended"
    VXCallRecord call; // with the date of the event
};

/** A call of the history (entity "VXCall" of the store "calls"). */
class VXCall : public VXRecordObject
{
public:
    static const QString entityName; // "VXCall"

    /** A call does not go back to an earlier state; what is known of it stays unless there is better news. */
    void take(const VXCallNews &news);

private:
    QDateTime date(const QString &key) const;
    void takeText(const QString &text, const QString &key);
};
