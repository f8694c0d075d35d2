#include "VXCall.h"

#include "VXKeyValueCoding.h"
#include "VXNone.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"

#include <QtCore/QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

const QString VXCall::entityName = u"VXCall"_s;

namespace {

qsizetype orderOf(const QString &state)
{
    static const QStringList states = {u"ringing"_s, u"connected"_s, u"ended"_s};
    return states.indexOf(state);
}

QString searchFormOfItem(const QString &item)
{
    QString name;
    QString value;
    const bool isAddress = VXPhonebookStringSplit(item, &name, &value);
    const QString number = isAddress ? VXPhoneNumberSearchString(value) : QString();
    QStringList parts{name, number.isEmpty() ? value.toLower() : number};
    parts.removeAll(QString());
    return parts.isEmpty() ? item : parts.join(u' ');
}

} // namespace

QString VXCall::searchForm(const QString &phonebookStrings)
{
    if (phonebookStrings.isNull())
        return {};
    QStringList forms = VXUnpackPhonebookStrings(phonebookStrings, true);
    std::transform(forms.cbegin(), forms.cend(), forms.begin(), searchFormOfItem);
    return forms.join(", "_L1);
}

QDateTime VXCall::date(const QString &key) const
{
    return valueForKey(key).toDateTime();
}

void VXCall::take(const VXCallNews &news)
{
    setValueForKey(int(news.direction), u"direction"_s);
    for (const QString &key : {u"to"_s, u"from"_s, u"device_url"_s, u"call_id"_s}) {
        const QVariant value = VXValueForKey(news.object, key);
        if (!VXIsNone(value))
            setValueForKey(value.toString(), key);
    }
    if (!date(u"date"_s).isValid())
        setValueForKey(news.time, u"date"_s);
    if (orderOf(news.state) < orderOf(valueForKey(u"state"_s).toString()))
        return;
    setValueForKey(news.state, u"state"_s);
    const QDateTime connected = date(u"connectedDate"_s);
    if (news.state == "connected"_L1 && !connected.isValid())
        setValueForKey(news.time, u"connectedDate"_s);
    if (news.state != "ended"_L1)
        return;
    bool isKnown = false; // to the phone, which knows best
    double duration = VXValueForKey(news.object, u"duration"_s).toDouble(&isKnown);
    if (!isKnown && connected.isValid() && valueForKey(u"duration"_s).toDouble() <= 0)
        duration = double(connected.msecsTo(news.time)) / 1000;
    if (isKnown || duration > 0)
        setValueForKey(std::max(duration, 0.0), u"duration"_s);
}

void VXCall::willSave()
{
    if (isDeleted())
        return;
    const QString to = searchForm(valueForKey(u"to"_s).toString());
    const QString from = searchForm(valueForKey(u"from"_s).toString());
    setValueForKey(to, u"to_search"_s);
    setValueForKey(from, u"from_search"_s);
    setValueForKey(valueForKey(u"direction"_s).toInt() != 0 ? from : to, u"otherParty_search"_s);
}
