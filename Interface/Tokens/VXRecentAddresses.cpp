#include "VXRecentAddresses.h"

#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXUserDefaults.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QString defaultsKey = u"interface.recent-addresses"_s;
constexpr qsizetype most = 100;
constexpr double halfLife = 30.0 * 24 * 3600; // seconds after which the weight of a use is halved

struct Entry
{
    QString address;
    double weight; // at `date`
    QDateTime date;

    double weightAt(const QDateTime &now) const
    {
        return weight * std::exp2(-static_cast<double>(date.secsTo(now)) / halfLife);
    }
};

QString keyOf(const QString &phonebookString)
{
    QString value;
    static_cast<void>(VXPhonebookStringSplit(phonebookString, nullptr, &value));
    const QString digits = VXPhoneNumberLookUpString(value);
    return digits.isEmpty() ? value.toLower() : digits;
}

QList<Entry> entriesOf(const QVariant &stored)
{
    QList<Entry> entries;
    for (const QVariant &each : stored.toList()) {
        const QVariantMap map = each.toMap();
        const QDateTime date = map.value(u"date"_s).toDateTime();
        if (date.isValid() && map.value(u"address"_s).typeId() == QMetaType::QString)
            entries.append({map.value(u"address"_s).toString(), map.value(u"weight"_s).toDouble(), date});
    }
    return entries;
}

QVariant storedOf(QList<Entry> entries, const QDateTime &now)
{
    std::ranges::stable_sort(entries, std::greater<>(), [&now](const Entry &entry) { return entry.weightAt(now); });
    QVariantList list;
    for (const Entry &entry : entries.first(std::min(most, entries.size())))
        list.append(QVariantMap{{u"address"_s, entry.address}, {u"weight"_s, entry.weight}, {u"date"_s, entry.date}});
    return list;
}

} // namespace

QStringList VXRecentAddresses::addresses()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QStringList addresses;
    const QVariant sorted = storedOf(entriesOf(VXUserDefaults::standardUserDefaults().objectForKey(defaultsKey)), now);
    for (const QVariant &each : sorted.toList())
        addresses.append(each.toMap().value(u"address"_s).toString());
    return addresses;
}

void VXRecentAddresses::noteUse(const QStringList &phonebookStrings)
{
    const auto update = [phonebookStrings](const QVariant &stored) {
        const QDateTime now = QDateTime::currentDateTimeUtc();
        QList<Entry> entries = entriesOf(stored);
        for (const QString &address : phonebookStrings) {
            const auto found =
                std::ranges::find(entries, keyOf(address), [](const Entry &e) { return keyOf(e.address); });
            if (found == entries.end())
                entries.append({address, 1, now});
            else
                *found = {address, found->weightAt(now) + 1, now};
        }
        return storedOf(entries, now);
    };
    VXUserDefaults::standardUserDefaults().updateObject(defaultsKey, update);
}
