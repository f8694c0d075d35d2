#include "VXCallRecord.h"

#include "VXRecordReader.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double longestDuration = 1e9; // seconds; anything longer is an error

const QString identifierKey = u"call_id"_s;
const QString dateKey = u"date"_s;
const QString connectedKey = u"connectedDate"_s;
const QString eventDateKey = u"event_date"_s;
const QString durationKey = u"duration"_s;
const QString missedKey = u"isMissed"_s;

} // namespace

VXCallRecord::VXCallRecord(const QVariant &object) : VXParties(VXRecordReader(object))
{
    const VXRecordReader reader(object);
    identifier = reader.text(identifierKey);
    date = reader.date(dateKey);
    connectedDate = reader.date(connectedKey);
    eventDate = reader.date(eventDateKey);
    duration = reader.number(durationKey);
    if (duration)
        duration = *duration < longestDuration ? std::optional(std::max(*duration, 0.0)) : std::nullopt;
    isMissed = reader.value(missedKey).toBool();
}

QDateTime VXCallRecord::start() const
{
    if (date.isValid())
        return date;
    if (connectedDate.isValid())
        return connectedDate;
    return eventDate.isValid() ? eventDate.addMSecs(-std::llround(duration.value_or(0) * 1000)) : QDateTime();
}

QVariantMap VXCallRecord::map() const
{
    QVariantMap map;
    insertInto(map);
    VXInsertIntoRecord(map, identifierKey, identifier);
    VXInsertIntoRecord(map, dateKey, date);
    VXInsertIntoRecord(map, connectedKey, connectedDate);
    VXInsertIntoRecord(map, eventDateKey, eventDate);
    if (duration)
        map.insert(durationKey, *duration);
    if (isMissed)
        map.insert(missedKey, true);
    return map;
}
