#include "VXComparison.h"

#include "VXAttributedString.h"
#include "VXKeyValueCoding.h"
#include "VXNumber.h"
#include "VXPropertyList.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

const QString VXComparisonItemsAdded = u"$$__COMPARISON_ADDED__$$"_s;
const QString VXComparisonItemsRemoved = u"$$__COMPARISON_REMOVED__$$"_s;
const QString VXComparisonItemsUnchanged = u"$$__COMPARISON_UNCHANGED__$$"_s;

namespace {

template <class T>
int order(const T &a, const T &b)
{
    return a < b ? -1 : (b < a ? 1 : 0);
}

// Truth values count as numbers here.
bool isNumber(QMetaType type)
{
    return VXIsWholeNumber(type) || VXIsRealNumber(type) || type.id() == QMetaType::Bool;
}

int compareNumbers(const QVariant &a, const QVariant &b)
{
    const QPartialOrdering result = QVariant::compare(a, b); // exact for integers of any width
    return result == QPartialOrdering::Less ? -1 : (result == QPartialOrdering::Greater ? 1 : 0);
}

// Both values as T compared by the function, when both are of that type.
template <class T>
std::optional<int> compareAs(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != QMetaType::fromType<T>() || b.metaType() != a.metaType())
        return std::nullopt;
    if constexpr (std::is_same_v<T, QString> || std::is_same_v<T, QDateTime>)
        return order(a.value<T>(), b.value<T>());
    else
        return vx_compare(a.value<T>(), b.value<T>());
}

} // namespace

size_t qHash(const VXHashableValue &hashable, size_t seed)
{
    const QVariant &value = hashable.value;
    const QMetaType type = value.metaType();
    if (isNumber(type)) {
        const double number = value.toDouble();
        return qHash(number == 0.0 ? 0.0 : number, seed); // also -0.0
    }
    if (type == QMetaType::fromType<QString>())
        return qHash(value.toString(), seed);
    if (type == QMetaType::fromType<QByteArray>())
        return qHash(value.toByteArray(), seed);
    if (type == QMetaType::fromType<QVariantList>()) {
        size_t hash = seed;
        for (const QVariant &element : value.toList())
            hash = qHash(VXHashableValue{element}, hash ^ 0x9e3779b9U);
        return hash;
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        const QVariantMap map = value.toMap();
        size_t hash = seed;
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
            hash = qHash(entry.key(), qHash(VXHashableValue{entry.value()}, hash));
        return hash;
    }
    return seed; // equality decides
}

int vx_compare(const QVariant &a, const QVariant &b)
{
    if (!a.isValid() || !b.isValid())
        return order(a.isValid(), b.isValid());
    if (isNumber(a.metaType()) && isNumber(b.metaType()))
        return compareNumbers(a, b);
    std::optional<int> result = compareAs<QString>(a, b);
    if (!result)
        result = compareAs<QDateTime>(a, b);
    if (!result)
        result = compareAs<QVariantList>(a, b);
    if (!result)
        result = compareAs<QByteArray>(a, b);
    if (!result)
        result = compareAs<VXValueSet>(a, b);
    if (!result)
        result = compareAs<VXAttributedString>(a, b);
    return result.value_or(0);
}

int vx_compare(const VXAttributedString &a, const VXAttributedString &b)
{
    return order(a.string, b.string);
}

int vx_compare(const QByteArray &a, const QByteArray &b)
{
    return vx_compare(VXPropertyList::fromData(a), VXPropertyList::fromData(b));
}

int vx_compare(const VXValueSet &a, const VXValueSet &b)
{
    return order(a.size(), b.size());
}

int vx_compare(const QVariantList &a, const QVariantList &b)
{
    int result = order(a.size(), b.size());
    for (qsizetype index = 0; result == 0 && index < a.size(); ++index)
        result = vx_compare(a[index], b[index]);
    return result;
}

QByteArray VXArchivedData(const QVariant &value)
{
    return VXPropertyList::toData(value, VXPropertyList::Format::Binary);
}

QVariantList vx_sortedArrayUsingKey(const QVariantList &elements, const QString &key)
{
    // Each value is asked for once, not once per comparison.
    std::vector<std::pair<QVariant, QVariant>> keyed;
    keyed.reserve(size_t(elements.size()));
    for (const QVariant &element : elements)
        keyed.emplace_back(VXValueForKey(element, key), element);
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto &a, const auto &b) { return vx_compare(a.first, b.first) < 0; });
    QVariantList sorted;
    sorted.reserve(elements.size());
    for (auto &entry : keyed)
        sorted.append(std::move(entry.second));
    return sorted;
}

QVariantList vx_sortedArrayUsingKey(const VXValueSet &elements, const QString &key)
{
    QVariantList list;
    list.reserve(elements.size());
    for (const VXHashableValue &element : elements)
        list.append(element.value);
    return vx_sortedArrayUsingKey(list, key);
}

QVariantMap vx_compareWithArray(const QVariantList &oldList, const QVariantList &newList)
{
    const auto setOf = [](const QVariantList &list) {
        VXValueSet set;
        set.reserve(list.size());
        for (const QVariant &item : list)
            set.insert({item});
        return set;
    };
    const VXValueSet oldSet = setOf(oldList);
    VXValueSet notSeenYet = setOf(newList);
    const VXValueSet newSet = notSeenYet;

    QVariantList added, removed, unchanged;
    for (const QVariant &item : oldList) {
        if (!newSet.contains({item}))
            removed.append(item);
        else if (notSeenYet.remove({item}))
            unchanged.append(item);
    }
    for (const QVariant &item : newList) {
        if (!oldSet.contains({item}))
            added.append(item);
    }

    QVariantMap result;
    const auto put = [&result](const QString &key, const QVariantList &items) {
        if (!items.isEmpty())
            result.insert(key, items);
    };
    put(VXComparisonItemsAdded, added);
    put(VXComparisonItemsRemoved, removed);
    put(VXComparisonItemsUnchanged, unchanged);
    return result;
}
