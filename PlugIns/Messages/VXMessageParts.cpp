#include "VXMessageParts.h"

#include <QtCore/QDateTime>
#include <QtCore/QMap>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longestWait = 24 * 60 * 60; // seconds

const QString entityName = u"VXMessagePart"_s;

QVariantMap recordOf(const VXManagedObjectPtr &part)
{
    return part->valueForKey(u"record"_s).toMap();
}

QString textOf(const QVariantMap &record)
{
    return record.value(u"text"_s).toString();
}

// By their numbers.
QMap<int, VXManagedObjectPtr> partsOf(const QString &series, VXManagedObjectContext &context)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(entityName));
    request.predicate = *VXPredicate::predicateWithFormat(u"series == %@"_s, {series});
    QMap<int, VXManagedObjectPtr> parts;
    if (const std::optional<VXFetchResult> found = context.executeFetchRequest(request)) {
        for (const VXManagedObjectPtr &part : *found)
            parts.insert(part->valueForKey(u"number"_s).toInt(), part);
    }
    return parts;
}

// They wait on under a name that no other part bears.
void setAside(const QMap<int, VXManagedObjectPtr> &parts)
{
    for (const VXManagedObjectPtr &part : parts)
        part->setValueForKey(part->objectID().uriRepresentation().toString(), u"series"_s);
}

bool areOfOtherMessage(const QMap<int, VXManagedObjectPtr> &parts, const VXMessagePartNews &news)
{
    if (parts.isEmpty())
        return false;
    const VXManagedObjectPtr same = parts.value(news.number);
    const QDateTime first = parts.first()->valueForKey(u"date"_s).toDateTime();
    return (same && textOf(recordOf(same)) != textOf(news.record)) ||
           first.secsTo(QDateTime::currentDateTimeUtc()) > longestWait;
}

void keep(const VXMessagePartNews &news, VXManagedObjectContext &context)
{
    const VXManagedObjectPtr part = context.insertNewObject(entityName);
    part->setValueForKey(news.series, u"series"_s);
    part->setValueForKey(news.number, u"number"_s);
    part->setValueForKey(QDateTime::currentDateTimeUtc(), u"date"_s);
    part->setValueForKey(news.record, u"record"_s);
}

// Where the whole lies: the place of the first part with the last components of the others.
QString joinedURL(const QList<QVariantMap> &records)
{
    QString url = records.first().value(u"url"_s).toString();
    for (const QVariantMap &record : records.sliced(1)) {
        const QString part = record.value(u"url"_s).toString();
        if (url.isEmpty() || part.isEmpty())
            return {};
        url += u'+' + part.section(u'/', -1);
    }
    return url;
}

QVariantMap joined(const QList<QVariantMap> &records)
{
    QVariantMap whole = records.first();
    QString text;
    for (const QVariantMap &record : records)
        text += textOf(record);
    whole.insert(u"text"_s, text);
    whole.insert(u"url"_s, joinedURL(records));
    return whole;
}

} // namespace

std::optional<QVariantMap> VXTakeMessagePart(const VXMessagePartNews &news, VXManagedObjectContext &context)
{
    QMap<int, VXManagedObjectPtr> parts = partsOf(news.series, context);
    if (areOfOtherMessage(parts, news)) {
        setAside(parts);
        parts.clear();
    }
    if (parts.contains(news.number))
        return std::nullopt;
    if (parts.size() + 1 < news.count) {
        keep(news, context);
        return std::nullopt;
    }
    QMap<int, QVariantMap> records{{news.number, news.record}};
    for (auto part = parts.cbegin(); part != parts.cend(); ++part) {
        records.insert(part.key(), recordOf(*part));
        context.deleteObject(*part);
    }
    return joined(records.values());
}
