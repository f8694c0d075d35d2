#include "VXCall.h"

#include <QtCore/QStringList>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

const QString VXCall::entityName = u"VXCall"_s;
const QString VXCall::changedDateKey = u"changedDate"_s;

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

QVariant VXCall::valueForKey(const QString &key) const
{
    return key == changedDateKey ? QVariant(changedDate()) : VXRecordObject::valueForKey(key);
}

// By the clock that dates the call, which may be the phone's. Each state is later than the one before, if only by a
// millisecond.
QDateTime VXCall::changedDate() const
{
    const QDateTime connected = date(u"connectedDate"_s);
    const double duration = valueForKey(u"duration"_s).toDouble();
    const QDateTime last = connected.isValid() ? connected : date(u"date"_s);
    return last.addMSecs(std::llround(std::clamp(duration, 0.0, 1e9) * 1000) +
                         std::max<qsizetype>(0, orderOf(valueForKey(u"state"_s).toString())));
}

VXFoundCall::Way VXCall::way() const
{
    if (valueForKey(u"direction"_s).toInt() == 0)
        return VXFoundCall::Way::Out;
    const bool isMissed = valueForKey(u"duration"_s).toDouble() <= 0 && !date(u"connectedDate"_s).isValid() &&
                          valueForKey(u"state"_s) == u"ended"_s;
    return isMissed ? VXFoundCall::Way::Missed : VXFoundCall::Way::In;
}

std::optional<QVariantMap> VXCall::metaDataPlist() const
{
    QVariantMap values = VXPhonebookRecord::searchMetaData(*this, u"call"_s);
    values.insert(u"kMDItemDurationSeconds"_s, valueForKey(u"duration"_s));
    values.insert(u"VXCallWay"_s, qint64(way()));
    return values;
}
