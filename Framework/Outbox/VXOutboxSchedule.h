#pragma once

#include "VXOutboxEntry.h"

/**
 * When entries are due, by the clock and preferences at the time of its construction: the first delay is 10 seconds
 * (the user default "outbox.retry-delay"; at least 0.1; 10 if it is negative or no number), and each following one
 * twice as long, up to an hour. A value type.
 */
class VXOutboxSchedule
{
public:
    VXOutboxSchedule();

    bool isDue(const VXOutboxEntry &entry) const { return wait(entry) <= 0; }
    /** Milliseconds. If the clock was put back, an entry waits no longer than its delay. */
    qint64 wait(const VXOutboxEntry &entry) const;
    /** When to try an entry again that could not be delivered after so many attempts. */
    QDateTime nextDate(int attempts) const { return _now.addMSecs(delayAfter(attempts)); }

private:
    qint64 delayAfter(int attempts) const;

    const QDateTime _now = QDateTime::currentDateTimeUtc();
    double _first; // seconds
};
