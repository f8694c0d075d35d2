#include "VXCall.h"

#include <QtCore/QStringList>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

const QString VXCall::entityName = u"VXCall"_s;

namespace {

qsizetype orderOf(const QString &state)
{
    static const QStringList states = {u"ringing"_s, u"connected"_s, u"ended"_s};
    return states.indexOf(state);
}

} // namespace

QDateTime VXCall::date(const QString &key) const
{
    return valueForKey(key).toDateTime();
}

void VXCall::takeText(const QString &text, const QString &key)
{
    if (!text.isNull())
        setValueForKey(text, key);
}

void VXCall::take(const VXCallNews &news)
{
    const VXCallRecord &call = news.call;
    setValueForKey(int(call.direction), u"direction"_s);
    takeText(call.to, u"to"_s);
    takeText(call.from, u"from"_s);
    takeText(call.deviceURL, u"device_url"_s);
    takeText(call.identifier, u"call_id"_s);
    if (!date(u"date"_s).isValid())
        setValueForKey(call.start(), u"date"_s);
    if (orderOf(news.state) < orderOf(valueForKey(u"state"_s).toString()))
        return;
    setValueForKey(news.state, u"state"_s);
    QDateTime connected = date(u"connectedDate"_s);
    if (!connected.isValid()) {
        connected = news.state == "connected"_L1 && !call.connectedDate.isValid() ? call.eventDate : call.connectedDate;
        setValueForKey(connected.isValid() ? QVariant(connected) : QVariant(), u"connectedDate"_s);
    }
    if (news.state != "ended"_L1)
        return;
    std::optional<double> duration = call.duration; // the phone knows best
    if (!duration && connected.isValid() && valueForKey(u"duration"_s).toDouble() <= 0)
        duration = double(connected.msecsTo(call.eventDate)) / 1000;
    if (call.duration || duration > 0)
        setValueForKey(std::max(*duration, 0.0), u"duration"_s);
}
