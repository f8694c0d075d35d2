#include "VXOutboxSchedule.h"

#include "VXUserDefaults.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr double firstDelay = 10; // seconds
constexpr double shortestDelay = 0.1;
constexpr double longestDelay = 60 * 60;
constexpr qint64 slack = 1000; // milliseconds

} // namespace

VXOutboxSchedule::VXOutboxSchedule()
{
    bool isNumber = false;
    const double wished =
        VXUserDefaults::standardUserDefaults().objectForKey(u"outbox.retry-delay"_s).toDouble(&isNumber);
    _first = isNumber && wished >= 0 ? std::clamp(wished, shortestDelay, longestDelay) : firstDelay;
}

qint64 VXOutboxSchedule::wait(const VXOutboxEntry &entry) const
{
    const qint64 rest = _now.msecsTo(entry.nextDate);
    return rest > delayAfter(entry.attempts) + slack ? 0 : rest;
}

qint64 VXOutboxSchedule::delayAfter(int attempts) const
{
    const double seconds = _first * static_cast<double>(1LL << std::clamp(attempts - 1, 0, 20));
    return static_cast<qint64>(std::min(seconds, longestDelay) * 1000);
}
