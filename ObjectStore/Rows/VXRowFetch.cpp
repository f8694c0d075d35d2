#include "VXRowFetch.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Rows = std::vector<const VXFetchedRow *>;

// Whether the keys use stored properties only, and so mean the same for rows as for objects.
bool isStored(const QStringList &keys, const VXEntityDescription &entity)
{
    const VXEntityDescription *at = &entity;
    bool isCollection = false;
    for (const QString &key : keys) {
        if (isCollection && key == "@count"_L1)
            return true;
        const VXPropertyDescription *const property = at->propertyForName(key);
        if (property == nullptr || property->isTransient())
            return false;
        const VXRelationshipDescription *const relationship = property->asRelationship();
        if (relationship == nullptr)
            return true;
        isCollection = isCollection || relationship->isToMany();
        at = &relationship->destination();
    }
    return true;
}

bool isStored(const VXExpression &expression, const VXEntityDescription &entity)
{
    const auto isElementStored = [&](const VXExpression &element) { return isStored(element, entity); };
    return isStored(expression.keys(), entity) &&
           std::all_of(expression.elements().cbegin(), expression.elements().cend(), isElementStored);
}

bool isStored(const VXPredicate &predicate, const VXEntityDescription &entity)
{
    if (predicate.kind() == VXPredicate::Kind::Comparison)
        return isStored(predicate.left(), entity) && isStored(predicate.right(), entity);
    return std::all_of(predicate.subpredicates().cbegin(), predicate.subpredicates().cend(),
                       [&](const VXPredicate &part) { return isStored(part, entity); });
}

// The part of the predicate that rows can decide: all of it, or some of the conditions joined by AND.
VXPredicate storedPart(const VXPredicate &predicate, const VXEntityDescription &entity)
{
    if (isStored(predicate, entity))
        return predicate;
    QList<VXPredicate> parts;
    if (predicate.kind() == VXPredicate::Kind::And) {
        for (const VXPredicate &part : predicate.subpredicates()) {
            if (isStored(part, entity))
                parts.append(part);
        }
    }
    return VXPredicate::allOf(parts);
}

void cut(Rows &rows, qsizetype offset, qsizetype limit)
{
    rows.erase(rows.begin(), rows.begin() + std::clamp<qsizetype>(offset, 0, qsizetype(rows.size())));
    if (limit > 0 && qsizetype(rows.size()) > limit)
        rows.resize(size_t(limit));
}

} // namespace

VXRowFetch::VXRowFetch(const VXRowTables &tables, const VXFetchRequest &request)
    : _request(request), _table(tables.table(request.entity().rootEntity())), _objects(tables),
      _predicate(_objects.withObjects(storedPart(request.predicate, request.entity()))),
      _isExact(
          isStored(request.predicate, request.entity()) &&
          std::all_of(request.sortDescriptors.cbegin(), request.sortDescriptors.cend(),
                      [&](const VXSortDescriptor &each) { return isStored(each.key.split(u'.'), request.entity()); }))
{
}

std::vector<const VXFetchedRow *> VXRowFetch::run()
{
    const VXEntityDescription &entity = _request.entity();
    const bool isTrue = _predicate.kind() == VXPredicate::Kind::True;
    Rows rows;
    for (const VXFetchedRow &row : _table) {
        const VXEntityDescription &own = row.objectID.entity();
        if (&own != &entity && !(_request.includesSubentities && own.isKindOfEntity(entity)))
            continue;
        if (row.objectID.number() <= _request.afterNumber)
            continue;
        if (isTrue || _predicate.evaluateWithObject(_objects.object(row.objectID)))
            rows.push_back(&row);
    }
    std::sort(rows.begin(), rows.end(),
              [](const VXFetchedRow *a, const VXFetchedRow *b) { return a->objectID.number() < b->objectID.number(); });
    if (!_isExact)
        return rows;
    if (!_request.sortDescriptors.isEmpty())
        sort(rows);
    cut(rows, _request.offset, _request.limit);
    return rows;
}

void VXRowFetch::sort(Rows &rows)
{
    const auto places = VXSortedPlaces(_request.sortDescriptors, qsizetype(rows.size()),
                                       [&](qsizetype place) { return _objects.object(rows[size_t(place)]->objectID); });
    Rows sorted;
    sorted.reserve(rows.size());
    for (const qsizetype place : places)
        sorted.push_back(rows[size_t(place)]);
    rows = std::move(sorted);
}
