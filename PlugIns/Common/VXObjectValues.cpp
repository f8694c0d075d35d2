#include "VXObjectValues.h"

#include "VXContactRecord.h"
#include "VXNone.h"

#include <QtCore/QJsonObject>
#include <QtCore/QMetaProperty>

using namespace Qt::StringLiterals;

namespace {

QStringList keysOfQObject(const QObject *object)
{
    QStringList keys;
    if (object == nullptr)
        return keys;
    const QMetaObject *const metaObject = object->metaObject();
    for (int index = QObject::staticMetaObject.propertyCount(); index < metaObject->propertyCount(); ++index)
        keys.append(QString::fromLatin1(metaObject->property(index).name()));
    for (const QByteArray &name : object->dynamicPropertyNames())
        keys.append(QString::fromUtf8(name));
    return keys;
}

} // namespace

QVariantList VXRecordsOfObjects(const QVariantList &objects)
{
    QVariantList records = objects;
    for (QVariant &object : records) {
        const VXManagedObject *const managed = VXManagedObjectIn(object);
        const bool isContact = managed != nullptr && managed->entity().relationshipForName(u"numbers"_s) != nullptr;
        if (isContact)
            object = VXContactRecord(object).map();
    }
    return records;
}

QStringList VXKeysOfObject(const QVariant &object)
{
    QStringList keys;
    if (const VXManagedObject *const managed = VXManagedObjectIn(object)) {
        for (const VXAttributeDescription *attribute : managed->entity().attributes()) {
            if (!attribute->isTransient() && !attribute->name().endsWith("_search"_L1))
                keys.append(attribute->name());
        }
    } else if (object.metaType().flags().testFlag(QMetaType::PointerToQObject)) {
        keys = keysOfQObject(object.value<QObject *>());
    } else if (object.canConvert<QVariantMap>()) {
        keys = object.toMap().keys();
    }
    return keys;
}

QJsonValue VXPlainJSONOfObject(const QVariant &object)
{
    if (VXIsNone(object))
        return QJsonValue::Null;
    QJsonObject values;
    for (const QString &key : VXKeysOfObject(object))
        values.insert(key, VXPlainJSON(VXValueForKey(object, key)));
    return values;
}

QVariant VXColumnReader::valueIn(const QVariant &object, const QString &key)
{
    if (object.typeId() == QMetaType::QVariantMap) {
        const auto &map = *static_cast<const QVariantMap *>(object.constData());
        if (const auto found = map.constFind(key); found != map.constEnd())
            return *found;
    }
    return VXValueForKeyPath(object, key);
}

void VXColumnReader::setEntity(const VXEntityDescription &entity)
{
    _entity = &entity;
    for (qsizetype column = 0; column < _keys.size(); ++column) {
        const VXAttributeDescription *const attribute = entity.attributeForName(_keys[column]);
        _indices[static_cast<size_t>(column)] = attribute != nullptr ? attribute->index() : -1;
    }
}
