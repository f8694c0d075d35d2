#pragma once

#include "VXOutboxEntry.h"

/**
 * When entries are due, as clock and preferences are just now: after 10 seconds (the user default "outbox.retry-delay"; 0.1 at
 * least, and the 10 where it is negative or no number), then after double the time each, up to an hour. A value type.
 */
class VXOutboxSchedule
{
public:
    VXOutboxSchedule();

    bool isDue(const VXOutboxEntry &entry) const { return wait(entry) <= 0; }
    /** Milliseconds. A clock that was put back keeps no entry waiting: for longer than its delay none has to. */
    qint64 wait(const VXOutboxEntry &entry) const;
    /** Of an entry that could not be delivered, after so many attempts. */
    QDateTime nextDate(int attempts) const { return _now.addMSecs(delayAfter(attempts)); }

private:
    qint64 delayAfter(int attempts) const;

    const QDateTime _now = QDateTime::currentDateTimeUtc();
    double _first; // seconds
};
