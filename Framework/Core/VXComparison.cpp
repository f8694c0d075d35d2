#include "VXComparison.h"

#include "VXAttributedString.h"
#include "VXKeyValueCoding.h"
#include "VXManagedObject.h"
#include "VXNone.h"
#include "VXNumber.h"
#include "VXPropertyList.h"
#include "VXValueComparison.h"

#include <QtCore/QDateTime>
#include <QtCore/QUrl>
#include <QtCore/QUuid>

#include <algorithm>
#include <cmath>
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

// The kind of a value, which determines its order, equality and hash. Kinds are listed in ascending order.
enum class Kind { None, Number, Text, AttributedText, Date, Data, Set, List, Dictionary, Other };

Kind kindOf(const QVariant &value)
{
    const QMetaType type = value.metaType();
    if (VXIsNone(value))
        return Kind::None;
    if (VXIsWholeNumber(type) || VXIsRealNumber(type))
        return Kind::Number;
    switch (type.id()) {
    case QMetaType::Bool:
        return Kind::Number;
    case QMetaType::QString:
        return Kind::Text;
    case QMetaType::QDateTime:
        return Kind::Date;
    case QMetaType::QByteArray:
        return Kind::Data;
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return Kind::List;
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
        return Kind::Dictionary;
    default:
        return type == QMetaType::fromType<VXValueSet>()           ? Kind::Set
               : type == QMetaType::fromType<VXAttributedString>() ? Kind::AttributedText
                                                                   : Kind::Other;
    }
}

// NaN comes first, and equals itself.
int compareNumbers(const QVariant &a, const QVariant &b)
{
    const std::partial_ordering result = VXCompareValues(a, b);
    if (result == std::partial_ordering::unordered)
        return order(!std::isnan(a.toDouble()), !std::isnan(b.toDouble()));
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

size_t hashOfNumber(double number, size_t seed)
{
    return std::isnan(number) ? seed : qHash(number == 0.0 ? 0.0 : number, seed); // 0.0 for -0.0 too
}

size_t hashOfList(const QVariantList &list, size_t seed)
{
    size_t hash = seed;
    for (const QVariant &element : list)
        hash = qHash(VXHashableValue{element}, hash ^ 0x9e3779b9U);
    return hash;
}

size_t hashOfDictionary(const QVariantMap &map, size_t seed)
{
    size_t hash = seed;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
        hash = qHash(entry.key(), qHash(VXHashableValue{entry.value()}, hash));
    return hash;
}

size_t hashOfOther(const QVariant &value, size_t seed)
{
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<VXManagedObjectPtr>())
        return qHash(value.value<VXManagedObjectPtr>().get(), seed);
    if (type == QMetaType::fromType<VXManagedObjectID>())
        return qHash(value.value<VXManagedObjectID>(), seed);
    if (type == QMetaType::fromType<QUrl>())
        return qHash(value.toUrl(), seed);
    if (type == QMetaType::fromType<QUuid>())
        return qHash(value.toUuid(), seed);
    if (type == QMetaType::fromType<QDate>() || type == QMetaType::fromType<QTime>())
        return qHash(value.toString(), seed);
    if (type.flags().testFlag(QMetaType::IsPointer))
        return qHash(*static_cast<void *const *>(value.constData()), seed);
    return seed; // all the same hash: equality decides
}

} // namespace

bool vx_isEqual(const QVariant &a, const QVariant &b)
{
    const Kind kind = kindOf(a);
    if (kind != kindOf(b))
        return false;
    switch (kind) {
    case Kind::None:
        return true;
    case Kind::Number:
        return compareNumbers(a, b) == 0;
    case Kind::Date:
        return a.toDateTime().toMSecsSinceEpoch() == b.toDateTime().toMSecsSinceEpoch();
    case Kind::List: {
        const QVariantList left = a.toList();
        const QVariantList right = b.toList();
        return std::equal(left.cbegin(), left.cend(), right.cbegin(), right.cend(), vx_isEqual);
    }
    case Kind::Dictionary: {
        const QVariantMap left = a.toMap();
        const QVariantMap right = b.toMap();
        return left.keys() == right.keys() &&
               std::equal(left.cbegin(), left.cend(), right.cbegin(), right.cend(), vx_isEqual);
    }
    default:
        return a.metaType() == b.metaType() && a == b;
    }
}

size_t qHash(const VXHashableValue &hashable, size_t seed)
{
    const QVariant &value = hashable.value;
    switch (kindOf(value)) {
    case Kind::None:
        return seed;
    case Kind::Number:
        return hashOfNumber(value.toDouble(), seed);
    case Kind::Text:
        return qHash(value.toString(), seed);
    case Kind::AttributedText:
        return qHash(value.value<VXAttributedString>().string, seed);
    case Kind::Date:
        return qHash(value.toDateTime().toMSecsSinceEpoch(), seed);
    case Kind::Data:
        return qHash(value.toByteArray(), seed);
    case Kind::Set:
        return qHash(value.value<VXValueSet>(), seed); // does not depend on the order
    case Kind::List:
        return hashOfList(value.toList(), seed);
    case Kind::Dictionary:
        return hashOfDictionary(value.toMap(), seed);
    case Kind::Other:
        break;
    }
    return hashOfOther(value, seed);
}

int vx_compare(const QVariant &a, const QVariant &b)
{
    const Kind kind = kindOf(a);
    if (const int result = order(kind, kindOf(b)))
        return result;
    switch (kind) {
    case Kind::Number:
        return compareNumbers(a, b);
    case Kind::Text:
        return order(a.toString(), b.toString());
    case Kind::AttributedText:
        return vx_compare(a.value<VXAttributedString>(), b.value<VXAttributedString>());
    case Kind::Date:
        return order(a.toDateTime().toMSecsSinceEpoch(), b.toDateTime().toMSecsSinceEpoch());
    case Kind::Data:
        return vx_compare(a.toByteArray(), b.toByteArray());
    case Kind::Set:
        return vx_compare(a.value<VXValueSet>(), b.value<VXValueSet>());
    case Kind::List:
        return vx_compare(a.toList(), b.toList());
    default:
        return 0;
    }
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
    // Asks each value once rather than once per comparison.
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
