#include "VXSQLiteQueryCache.h"

#include "VXNone.h"
#include "VXSQLPredicate.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;
using Kind = VXPredicate::Kind;

namespace {

constexpr size_t maximumEntries = 64;

// Whether the SQL is the same for all values of this type: none and NaN need SQL of their own.
bool isPlain(const QVariant &value, const VXStoreIdentity &store)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Bool:
    case QMetaType::QString:
    case QMetaType::QDateTime:
    case QMetaType::QByteArray:
        return !VXIsNone(value);
    case QMetaType::Double:
        return !std::isnan(value.toDouble());
    default:
        return value.metaType() == QMetaType::fromType<VXManagedObjectID>() &&
               value.value<VXManagedObjectID>().store() == &store;
    }
}

bool addValue(const VXPredicate &comparison, const VXStoreIdentity &store, QVariantList *values)
{
    if (comparison.kind() != Kind::Comparison || comparison.modifier() != VXPredicate::Modifier::Direct ||
        comparison.options() || comparison.comparisonOperator() > VXPredicate::Operator::GreaterOrEqual ||
        comparison.left().kind() != VXExpression::Kind::KeyPath ||
        comparison.right().kind() != VXExpression::Kind::Constant || !isPlain(comparison.right().value(), store))
        return false;
    values->append(VXSQLPredicate::boundValue(comparison.right().value()));
    return true;
}

bool isSameComparison(const VXPredicate &a, const VXPredicate &b)
{
    const QVariant &left = a.right().value();
    const QVariant &right = b.right().value();
    if (a.comparisonOperator() != b.comparisonOperator() || left.metaType() != right.metaType() ||
        a.left().keys() != b.left().keys())
        return false;
    return left.metaType() != QMetaType::fromType<VXManagedObjectID>() ||
           &left.value<VXManagedObjectID>().entity().rootEntity() ==
               &right.value<VXManagedObjectID>().entity().rootEntity();
}

bool isSameShape(const VXPredicate &a, const VXPredicate &b)
{
    if (a.kind() != b.kind())
        return false;
    if (a.kind() == Kind::Comparison)
        return isSameComparison(a, b);
    return std::equal(a.subpredicates().cbegin(), a.subpredicates().cend(), b.subpredicates().cbegin(),
                      b.subpredicates().cend(), isSameComparison);
}

bool isSameShape(const VXFetchRequest &a, const VXFetchRequest &b)
{
    return &a.entity() == &b.entity() && a.includesSubentities == b.includesSubentities && a.isCut() == b.isCut() &&
           a.sortDescriptors == b.sortDescriptors && isSameShape(a.predicate, b.predicate);
}

// A value of the same type: the actual values are not cached, as they may be long, and private.
QVariant withoutValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return u""_s;
    case QMetaType::QByteArray:
        return QByteArray("");
    case QMetaType::QDateTime:
        return QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
    default:
        return value;
    }
}

VXPredicate shapeOf(const VXPredicate &predicate)
{
    if (predicate.kind() == Kind::True)
        return predicate;
    if (predicate.kind() == Kind::Comparison)
        return VXPredicate::comparison(predicate.left(), predicate.comparisonOperator(),
                                       VXExpression::constant(withoutValue(predicate.right().value())));
    QList<VXPredicate> parts;
    std::ranges::transform(predicate.subpredicates(), std::back_inserter(parts), shapeOf);
    return VXPredicate::allOf(parts);
}

} // namespace

std::optional<QVariantList> VXSQLiteQueryCache::valuesOf(const VXPredicate &predicate, const VXStoreIdentity &store)
{
    QVariantList values;
    if (predicate.kind() == Kind::True)
        return values;
    if (predicate.kind() == Kind::Comparison)
        return addValue(predicate, store, &values) ? std::optional(values) : std::nullopt;
    if (predicate.kind() != Kind::And)
        return std::nullopt;
    const auto add = [&](const VXPredicate &part) { return addValue(part, store, &values); };
    const QList<VXPredicate> &parts = predicate.subpredicates();
    return std::all_of(parts.cbegin(), parts.cend(), add) ? std::optional(values) : std::nullopt;
}

QString VXSQLiteQueryCache::find(const VXFetchRequest &request, Wanted wanted, QVariantList *values)
{
    const VXMutexLocker lock(_lock);
    const auto found = std::find_if(_entries.cbegin(), _entries.cend(), [&](const Entry &entry) {
        return entry.wanted == wanted && isSameShape(entry.request, request);
    });
    if (found == _entries.cend())
        return {};
    for (const qsizetype place : found->raised)
        (*values)[place] = VXSQLPredicate::leastAbove((*values)[place].toDouble());
    return found->sql;
}

void VXSQLiteQueryCache::keep(const VXFetchRequest &request, Wanted wanted, const QString &sql,
                              const QVariantList &values, const QVariantList &bound)
{
    Entry entry{request, wanted, sql, {}};
    for (qsizetype place = 0; place < values.size(); ++place) {
        if (values[place].typeId() == QMetaType::Double && values[place] != bound[place])
            entry.raised.append(place);
    }
    entry.request.predicate = shapeOf(request.predicate);
    const VXMutexLocker lock(_lock);
    if (_entries.size() < maximumEntries)
        _entries.push_back(std::move(entry));
    else
        _entries[_next++ % maximumEntries] = std::move(entry);
}
