#include "VXListReader.h"

#include "VXManagedObjectContext.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;

constexpr qsizetype mostFound = 20'000; // at a time

// Texts are ordered by a collation that the store's indexes lack.
bool isSeekable(const VXAttributeDescription *attribute)
{
    if (attribute == nullptr)
        return false;
    switch (attribute->type()) {
    case VXAttributeType::Date:
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
    case VXAttributeType::Integer64:
        return true;
    default:
        return false;
    }
}

} // namespace

bool VXListReader::begin(VXError *error)
{
    _starts.clear();
    _canSeek.reset();
    _first.reset();
    _context = std::make_unique<VXManagedObjectContext>(_query.coordinator);
    return hasSeekableOrder() || findFirst(pageSize, error);
}

std::optional<qsizetype> VXListReader::count(VXError *error)
{
    if (_first && _first->size() < _firstLimit)
        return _first->size();
    VXFetchRequest request = *_query.request;
    request.sortDescriptors.clear();
    return _context->countForFetchRequest(request, error);
}

// To sort them again for each page would take as long as to sort them all; to know the first few takes a part of that.
bool VXListReader::findFirst(qsizetype limit, VXError *error)
{
    VXFetchRequest request = *_query.request;
    request.limit = limit;
    request.batchSize = pageSize;
    request.includesPendingChanges = false;
    _first = _context->executeFetchRequest(request, error);
    _firstLimit = limit;
    return _first.has_value();
}

bool VXListReader::hasSeekableOrder() const
{
    const QList<VXSortDescriptor> &order = _query.request->sortDescriptors;
    return order.size() == 1 && isSeekable(_query.request->entity().attributeForName(order.constFirst().key));
}

bool VXListReader::canSeek(VXManagedObjectContext &context)
{
    if (!hasSeekableOrder())
        return false;
    const QList<VXSortDescriptor> &order = _query.request->sortDescriptors;
    VXFetchRequest none = *_query.request;
    none.predicate =
        VXPredicate::allOf({none.predicate, VXPredicate::comparison(order.constFirst().key, Operator::Equal, {})});
    none.sortDescriptors.clear();
    return context.countForFetchRequest(none) == 0;
}

VXFetchRequest VXListReader::requestForPage(qsizetype index) const
{
    VXFetchRequest request = *_query.request;
    request.limit = pageSize;
    request.batchSize = 0;
    request.includesPendingChanges = false;
    const auto start = _starts.constFind(index);
    if (start == _starts.cend()) {
        request.offset = index * pageSize;
        return request;
    }
    const VXSortDescriptor &order = request.sortDescriptors.constFirst();
    request.offset = start->skipped;
    request.predicate = VXPredicate::allOf(
        {request.predicate,
         VXPredicate::comparison(order.key, order.isAscending ? Operator::GreaterOrEqual : Operator::LessOrEqual,
                                 start->value)});
    return request;
}

void VXListReader::noteStartBehind(qsizetype index, const QVariantList &values)
{
    if (values.size() < pageSize)
        return;
    const QVariant &last = values.constLast();
    qsizetype skipped =
        std::find_if(values.crbegin(), values.crend(), [&](const auto &v) { return v != last; }) - values.crbegin();
    if (const auto start = _starts.constFind(index); skipped == values.size() && start != _starts.cend())
        skipped += start->skipped; // all rows of the page have the value
    else if (skipped == values.size() && index > 0)
        return; // it is unknown how many earlier rows have the value
    _starts.insert(index + 1, {last, skipped});
}

std::optional<QList<VXManagedObjectPtr>> VXListReader::objectsOfPage(qsizetype index, VXManagedObjectContext &context,
                                                                     VXError *error)
{
    if (index == 0 && _query.first)
        return _query.first(context, pageSize, error);
    if (index > 0 && index * pageSize < mostFound && _first && _firstLimit == pageSize && !findFirst(mostFound, error))
        return std::nullopt;
    const qsizetype end = _first ? std::min((index + 1) * pageSize, _first->size()) : 0;
    if (end == (index + 1) * pageSize || (index * pageSize < end && _first->size() < _firstLimit)) {
        QList<VXManagedObjectPtr> objects;
        for (qsizetype place = index * pageSize; place < end; ++place) {
            const VXManagedObjectPtr object = _first->at(place);
            if (!object->isFault()) // otherwise deleted meanwhile
                objects.append(object);
        }
        return objects;
    }
    const auto found = context.executeFetchRequest(requestForPage(index), error);
    return found ? std::optional(QList<VXManagedObjectPtr>(found->begin(), found->end())) : std::nullopt;
}

std::optional<QList<VXManagedObjectID>> VXListReader::objectIDs(qsizetype limit, VXError *error) const
{
    VXFetchRequest request = *_query.request;
    request.limit = limit;
    request.offset = request.batchSize = 0;
    request.includesPendingChanges = request.includesPropertyValues = false;
    request.prefetchedRelationships.clear();
    VXManagedObjectContext context(_query.coordinator);
    const auto found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<VXManagedObjectID> ids;
    ids.reserve(found->size());
    for (const VXManagedObjectPtr &object : *found)
        ids.append(object->objectID());
    return ids;
}

std::optional<QList<VXListRow>> VXListReader::page(qsizetype index, VXError *error)
{
    VXManagedObjectContext context(_query.coordinator);
    if (!_canSeek)
        _canSeek = canSeek(context);
    const auto found = objectsOfPage(index, context, error);
    if (!found)
        return std::nullopt;
    QList<VXListRow> rows;
    QVariantList values; // the values that they are ordered by
    rows.reserve(found->size());
    for (const VXManagedObjectPtr &object : *found) {
        VXListRow row = _query.makeRow(object);
        row.objectID = object->objectID();
        rows.append(std::move(row));
        if (*_canSeek)
            values.append(object->valueForKey(_query.request->sortDescriptors.constFirst().key));
    }
    if (*_canSeek)
        noteStartBehind(index, values);
    return rows;
}
