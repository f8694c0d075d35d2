#include "VXDBusValue.h"

#include <QtCore/QDateTime>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusSignature>
#include <QtDBus/QDBusVariant>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using Code = VXEventCode;

namespace {

// -- From D-Bus

QVariant plainArgument(const QDBusArgument &argument);

QVariantList plainElements(const QDBusArgument &argument)
{
    QVariantList list;
    while (!argument.atEnd())
        list.append(plainArgument(argument));
    return list;
}

QVariant plainMap(const QDBusArgument &argument)
{
    QVariantMap map;
    argument.beginMap();
    while (!argument.atEnd()) {
        argument.beginMapEntry();
        const QString key = plainArgument(argument).toString();
        map.insert(key, plainArgument(argument));
        argument.endMapEntry();
    }
    argument.endMap();
    return map;
}

// What stands at the argument's place; moves on behind it.
QVariant plainArgument(const QDBusArgument &argument)
{
    QVariantList list;
    switch (argument.currentType()) {
    case QDBusArgument::ArrayType:
        if (argument.currentSignature() == "ay"_L1 || argument.currentSignature() == "as"_L1)
            return argument.asVariant();
        argument.beginArray();
        list = plainElements(argument);
        argument.endArray();
        return list;
    case QDBusArgument::StructureType:
        argument.beginStructure();
        list = plainElements(argument);
        argument.endStructure();
        return list;
    case QDBusArgument::MapType:
        return plainMap(argument);
    default:
        return VXPlainDBusValue(argument.asVariant());
    }
}

// -- To D-Bus

template <class T>
std::optional<QVariant> wholeNumber(const VXEventDescriptor &descriptor)
{
    if constexpr (std::is_same_v<T, quint64>) {
        if (descriptor.type() == Code::UInt64)
            return descriptor.value();
    }
    const std::optional<qint64> number = descriptor.integerValue();
    if (!number || !std::in_range<T>(*number))
        return std::nullopt;
    return QVariant::fromValue(T(*number));
}

template <class T>
std::optional<QVariant> text(const VXEventDescriptor &descriptor)
{
    const QString found = descriptor.stringValue();
    if (found.isNull())
        return std::nullopt;
    if constexpr (std::is_same_v<T, QString>) {
        return found;
    } else {
        return QVariant::fromValue(T(found));
    }
}

template <class T>
std::optional<QVariant> given(const std::optional<T> &value)
{
    return value ? std::optional<QVariant>(*value) : std::nullopt;
}

// One that is not a path would be refused by our own side of the connection, with the whole message.
bool isObjectPath(const QString &path)
{
    if (path == "/"_L1)
        return true;
    if (!path.startsWith(u'/') || path.endsWith(u'/') || path.contains("//"_L1))
        return false;
    return std::ranges::all_of(
        path, [](QChar c) { return c == u'/' || c == u'_' || (c.unicode() < 128 && c.isLetterOrNumber()); });
}

std::optional<QVariant> basicArgument(const VXEventDescriptor &descriptor, char type)
{
    switch (type) {
    case 'y':
        return wholeNumber<uchar>(descriptor);
    case 'n':
        return wholeNumber<qint16>(descriptor);
    case 'q':
        return wholeNumber<quint16>(descriptor);
    case 'i':
        return wholeNumber<qint32>(descriptor);
    case 'u':
        return wholeNumber<quint32>(descriptor);
    case 'x':
        return wholeNumber<qint64>(descriptor);
    case 't':
        return wholeNumber<quint64>(descriptor);
    case 'b':
        return given(descriptor.booleanValue());
    case 'd':
        return given(descriptor.realValue());
    case 's':
        return text<QString>(descriptor);
    case 'o':
        return isObjectPath(descriptor.stringValue()) ? text<QDBusObjectPath>(descriptor) : std::nullopt;
    case 'g':
        return text<QDBusSignature>(descriptor);
    default:
        return std::nullopt;
    }
}

// Bytes, texts and values in a list.
std::optional<QVariant> listArgument(const VXEventDescriptor &descriptor, const QByteArray &element)
{
    if (element == "y")
        return descriptor.type() == Code::Bytes ? std::optional<QVariant>(descriptor.data()) : std::nullopt;
    const VXEventDescriptor list = *descriptor.coerceToType(Code::List); // one item goes for a list of it
    QStringList texts;
    QVariantList values;
    QDBusArgument numbers;
    for (qsizetype index = 1; index <= list.numberOfItems(); ++index) {
        const std::optional<QVariant> item = VXDBusArgument(*list.descriptorAtIndex(index), element);
        if (!item)
            return std::nullopt;
        if (element == "s")
            texts.append(item->toString());
        else
            values.append(element == "v" ? item->value<QDBusVariant>().variant() : *item);
    }
    if (element == "s")
        return texts;
    if (element == "v")
        return values;
    // Of another type: all items are of that, as Qt registers them.
    const QMetaType type = QDBusMetaType::signatureToMetaType(element.constData());
    if (!type.isValid())
        return std::nullopt;
    QDBusArgument array;
    array.beginArray(type);
    for (const QVariant &value : std::as_const(values))
        array.appendVariant(value);
    array.endArray();
    return QVariant::fromValue(array);
}

bool isTooDeep(const VXEventDescriptor &descriptor, int depth = 0)
{
    for (qsizetype index = 1; index <= descriptor.numberOfItems(); ++index) {
        const int step = descriptor.keywordAtIndex(index) == Code::NamedValues ? 0 : 1; // the values of the same map
        if (depth == VXDeepestDBusValue || isTooDeep(*descriptor.descriptorAtIndex(index), depth + step))
            return true;
    }
    return false;
}

std::optional<QVariant> mapArgument(const VXEventDescriptor &descriptor)
{
    const QVariant value = descriptor.value();
    if (value.metaType() != QMetaType::fromType<QVariantMap>())
        return std::nullopt;
    return VXCarriedByDBus(value);
}

} // namespace

QVariant VXPlainDBusValue(const QVariant &argument)
{
    const QMetaType type = argument.metaType();
    if (type == QMetaType::fromType<QDBusVariant>())
        return VXPlainDBusValue(argument.value<QDBusVariant>().variant());
    if (type == QMetaType::fromType<QDBusObjectPath>())
        return argument.value<QDBusObjectPath>().path();
    if (type == QMetaType::fromType<QDBusSignature>())
        return argument.value<QDBusSignature>().signature();
    if (type == QMetaType::fromType<QDBusArgument>())
        return plainArgument(argument.value<QDBusArgument>());
    if (type == QMetaType::fromType<QVariantList>()) {
        QVariantList list;
        for (const QVariant &element : argument.toList())
            list.append(VXPlainDBusValue(element));
        return list;
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        QVariantMap map = argument.toMap();
        for (QVariant &value : map)
            value = VXPlainDBusValue(value);
        return map;
    }
    return argument;
}

std::optional<QVariant> VXDBusArgument(const VXEventDescriptor &descriptor, const QByteArray &signature)
{
    if (isTooDeep(descriptor))
        return std::nullopt;
    if (signature.size() == 1 && signature[0] != 'v')
        return basicArgument(descriptor, signature[0]);
    if (signature == "v") {
        const QVariant value = VXCarriedByDBus(descriptor.value());
        return value.isValid() ? std::optional(QVariant::fromValue(QDBusVariant(value))) : std::nullopt;
    }
    if (signature == "a{sv}")
        return mapArgument(descriptor);
    if (signature.startsWith('a') && !signature.startsWith("a{"))
        return listArgument(descriptor, signature.sliced(1));
    return std::nullopt;
}

namespace {

QVariant carriedMap(const QVariantMap &map, int depth);
QVariant carriedList(const QVariantList &list, int depth);

// `depth`: of the lists and maps around it.
QVariant carried(const QVariant &value, int depth)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return depth < VXDeepestDBusValue ? carriedMap(value.toMap(), depth + 1) : QVariant();
    case QMetaType::QVariantList:
        return depth < VXDeepestDBusValue ? carriedList(value.toList(), depth + 1) : QVariant();
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QUrl:
        return QString::fromUtf8(value.toUrl().toEncoded());
    case QMetaType::QString:
        return value.toString().isNull() ? QVariant() : value;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::UChar:
    case QMetaType::Double:
    case QMetaType::QByteArray:
    case QMetaType::QStringList:
        return value;
    case QMetaType::Long:
        return qlonglong(value.toLongLong());
    case QMetaType::ULong:
        return qulonglong(value.toULongLong());
    case QMetaType::Float:
        return value.toDouble();
    default:
        return value.canConvert<QString>() ? QVariant(value.toString()) : QVariant();
    }
}

QVariant carriedMap(const QVariantMap &map, int depth)
{
    QVariantMap result;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        if (const QVariant item = carried(*entry, depth); item.isValid())
            result.insert(entry.key(), item);
    }
    return result;
}

QVariant carriedList(const QVariantList &list, int depth)
{
    QVariantList result;
    for (const QVariant &element : list) {
        if (const QVariant item = carried(element, depth); item.isValid())
            result.append(item);
    }
    return result;
}

} // namespace

QVariant VXCarriedByDBus(const QVariant &value)
{
    return carried(value, 0);
}
