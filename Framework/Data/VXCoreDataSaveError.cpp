#include "VXCoreDataSaveError.h"

#include "VXContainer.h"
#include "VXDiagnostics.h"
#include "VXLog.h"
#include "VXManagedObject.h"
#include "VXNone.h"
#include "VXObjectStoreError.h"

#include <QtCore/QUrl>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

bool isCollection(const QVariant &value)
{
    return VXIsList(value) || VXIsMap(value);
}

qsizetype countOf(const QVariant &value)
{
    return VXIsMap(value) ? value.toMap().size() : value.toList().size();
}

QString describe(const QVariant &value)
{
    if (VXIsNone(value))
        return u"(null)"_s;
    if (value.metaType() == QMetaType::fromType<VXManagedObjectID>())
        return value.value<VXManagedObjectID>().uriRepresentation().toString();
    if (value.metaType() == QMetaType::fromType<VXManagedObjectPtr>()) {
        const auto object = value.value<VXManagedObjectPtr>();
        return object ? object->objectID().uriRepresentation().toString() : u"(null)"_s;
    }
    if (value.typeId() == QMetaType::QByteArray)
        return u"<%1 bytes>"_s.arg(value.toByteArray().size());
    return value.toString();
}

bool isObject(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<VXManagedObjectID>() ||
           value.metaType() == QMetaType::fromType<VXManagedObjectPtr>();
}

// Makes values comparable: one side may hold an object and the other its ID, and lists of objects have no order.
QVariant comparable(const QVariant &value)
{
    if (isObject(value))
        return describe(value);
    const QVariantList elements = value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
    if (elements.isEmpty() || !isObject(elements.first()))
        return value;
    QStringList objects;
    std::transform(elements.cbegin(), elements.cend(), std::back_inserter(objects), describe);
    objects.sort();
    return objects;
}

bool agree(const QVariant &a, const QVariant &b)
{
    return VXIsNone(a) ? VXIsNone(b) : comparable(a) == comparable(b);
}

void logKey(const QString &key, const QVariant &object, const QVariant &context, const QVariant &store)
{
    VXLog::log(VXLogInfo, "\tkey: "_L1 + key);
    const bool counts = isCollection(object) || isCollection(context) || isCollection(store);
    const auto line = [counts](QLatin1StringView label, const QVariant &value) {
        VXLog::log(VXLogInfo, label + (counts ? QString::number(countOf(value)) : describe(value)));
    };
    line("\t\tobject:  "_L1, object);
    line("\t\tcontext: "_L1, context);
    line("\t\tstore:   "_L1, store);
}

void logConflict(const QVariantMap &conflict)
{
    const auto object = conflict.value(u"object"_s).value<VXManagedObjectPtr>();
    if (!object)
        return;
    VXLog::log(VXLogInfo, object->objectID().uriRepresentation().toString());
    const QVariantMap cachedRow = conflict.value(u"cachedRow"_s).toMap();
    const QVariantMap snapshot = conflict.value(u"snapshot"_s).toMap();
    for (auto entry = snapshot.cbegin(); entry != snapshot.cend(); ++entry) {
        const QVariant current = object->valueForKey(entry.key());
        const QVariant stored = cachedRow.value(entry.key());
        if (!agree(current, *entry) || !agree(current, stored))
            logKey(entry.key(), current, *entry, stored);
    }
}

} // namespace

bool VXLogCoreDataSaveError(const VXError &error)
{
    if (error.domain() != VXCocoaErrorDomain || error.code() != int(VXObjectStoreErrorCode::MergeConflict))
        return false;
    for (const QVariant &conflict : error.userInfo().value(VXConflictListKey).toList())
        logConflict(conflict.toMap());
    return true;
}
