#include "VXMessageParts.h"

#include "VXMessagePartGroups.h"

#include <QtCore/QDateTime>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString entityName = u"VXMessagePart"_s;

QVariantMap recordOf(const VXManagedObjectPtr &part)
{
    return part->valueForKey(u"record"_s).toMap();
}

QString textOf(const QVariantMap &record)
{
    return record.value(u"text"_s).toString();
}

// In order of arrival. None, with the error, if the store cannot be read.
std::optional<QList<VXManagedObjectPtr>> partsOf(const QString &series, VXManagedObjectContext &context, VXError *error)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(entityName));
    request.predicate = *VXPredicate::predicateWithFormat(u"series == %@"_s, {series});
    request.sortDescriptors = {{.key = u"date"_s}};
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<VXManagedObjectPtr> parts;
    for (const VXManagedObjectPtr &part : *found)
        parts.append(part);
    return parts;
}

VXMessagePartPlace placeOf(int number, int count, const QVariantMap &record)
{
    return {.series = {}, .number = number, .count = count, .date = record.value(u"date"_s).toDateTime()};
}

// They keep waiting under a name that no other part has.
void setAside(const QList<VXManagedObjectPtr> &parts, const QList<qsizetype> &group)
{
    for (const qsizetype at : group)
        parts[at]->setValueForKey(parts[at]->objectID().uriRepresentation().toString(), u"series"_s);
}

// It was reported before.
bool isSamePart(const VXManagedObjectPtr &part, const VXMessagePartNews &news)
{
    const QVariantMap record = recordOf(part);
    const qint64 apart =
        // 0 if one of them has none.
        record.value(u"date"_s).toDateTime().secsTo(news.record.value(u"date"_s).toDateTime());
    return part->valueForKey(u"number"_s).toInt() == news.number && textOf(record) == textOf(news.record) &&
           qAbs(apart) <= VXMessagePartGroups::longestSpan;
}

void keep(const VXMessagePartNews &news, VXManagedObjectContext &context)
{
    const VXManagedObjectPtr part = context.insertNewObject(entityName);
    part->setValueForKey(news.series, u"series"_s);
    part->setValueForKey(news.number, u"number"_s);
    part->setValueForKey(QDateTime::currentDateTimeUtc(), u"date"_s);
    part->setValueForKey(news.record, u"record"_s);
}

// The place of the complete message: that of the first part, with the last components of the others.
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

std::optional<QVariantMap> VXTakeMessagePart(const VXMessagePartNews &news, VXManagedObjectContext &context,
                                             VXError *error)
{
    const auto known = partsOf(news.series, context, error);
    if (!known)
        return std::nullopt;
    const QList<VXManagedObjectPtr> &parts = *known;
    if (std::ranges::any_of(parts, [&](const VXManagedObjectPtr &part) { return isSamePart(part, news); }))
        return std::nullopt;
    QList<VXMessagePartPlace> places;
    for (const VXManagedObjectPtr &part : parts)
        places.append(placeOf(part->valueForKey(u"number"_s).toInt(), news.count, recordOf(part)));
    places.append(placeOf(news.number, news.count, news.record));
    const QList<QList<qsizetype>> groups = VXMessagePartGroups::of(places);
    const auto own =
        std::ranges::find_if(groups, [&](const QList<qsizetype> &group) { return group.contains(parts.size()); });
    if (own->size() < news.count) {
        keep(news, context);
        return std::nullopt;
    }
    // Parts that have been waiting since before must not be joined with those that come after.
    for (auto before = groups.cbegin(); before != own; ++before)
        setAside(parts, *before);
    QList<QVariantMap> records;
    for (const qsizetype at : *own) {
        records.append(at == parts.size() ? news.record : recordOf(parts[at]));
        if (at < parts.size())
            context.deleteObject(parts[at]);
    }
    return joined(records);
}
