#include "VXKeyValueCoding.h"

#include "VXInvocation.h"

using namespace Qt::StringLiterals;

VXKeyValueCoding::~VXKeyValueCoding() = default;

namespace {

QVariant valueOfQObject(QObject *object, const QString &key)
{
    if (object == nullptr)
        return {};
    if (const auto *coding = dynamic_cast<const VXKeyValueCoding *>(object))
        return coding->valueForKey(key);
    const QByteArray name = key.toUtf8();
    if (QVariant value = object->property(name.constData()); value.isValid())
        return value;
    return VXInvocation::withMethod(object, name).invoke().value_or(QVariant());
}

QVariant valueOfList(const QVariantList &list, const QString &key)
{
    if (key == "@count"_L1)
        return list.size();
    QVariantList values;
    values.reserve(list.size());
    for (const QVariant &element : list)
        values.append(VXValueForKey(element, key));
    return values;
}

} // namespace

QVariant VXValueForKey(const QVariant &object, const QString &key)
{
    const QMetaType type = object.metaType();
    if (type == QMetaType::fromType<QVariantMap>())
        return object.value<QVariantMap>().value(key);
    if (type == QMetaType::fromType<QVariantHash>())
        return object.value<QVariantHash>().value(key);
    if (type.flags().testFlag(QMetaType::PointerToQObject))
        return valueOfQObject(object.value<QObject *>(), key);
    if (object.canConvert<VXKeyValueCoding *>()) {
        const auto *coding = object.value<VXKeyValueCoding *>();
        return coding != nullptr ? coding->valueForKey(key) : QVariant();
    }
    if (type == QMetaType::fromType<QVariantList>() || type == QMetaType::fromType<QStringList>())
        return valueOfList(object.toList(), key);
    return {};
}

QVariant VXValueForKeyPath(const QVariant &object, const QString &keyPath)
{
    QVariant value = object;
    for (const QStringView key : QStringView(keyPath).split(u'.')) {
        value = VXValueForKey(value, key.toString());
        if (!value.isValid())
            break;
    }
    return value;
}
