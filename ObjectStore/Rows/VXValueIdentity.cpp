#include "VXValueIdentity.h"

#include <QtCore/QVariantMap>

#include <algorithm>
#include <cmath>

namespace {

bool isSameList(const QVariantList &a, const QVariantList &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(), VXIsSameValue);
}

bool isSameMap(const QVariantMap &a, const QVariantMap &b)
{
    return a.size() == b.size() &&
           std::equal(a.keyValueBegin(), a.keyValueEnd(), b.keyValueBegin(), [](const auto &one, const auto &other) {
               return one.first == other.first && VXIsSameValue(one.second, other.second);
           });
}

} // namespace

bool VXIsSameValue(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType())
        return false;
    switch (a.typeId()) {
    case QMetaType::QVariantList:
        return isSameList(a.toList(), b.toList());
    case QMetaType::QVariantMap:
        return isSameMap(a.toMap(), b.toMap());
    case QMetaType::Double:
        return a == b || (std::isnan(a.toDouble()) && std::isnan(b.toDouble()));
    default:
        return a == b;
    }
}
