#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** True for lists. Qt's own conversions would convert a text to a list, too. */
inline bool VXIsList(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
}

/** True for dictionaries. */
inline bool VXIsMap(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantHash;
}

/** The elements of a list; none when the value is no list. */
inline QVariantList VXListFrom(const QVariant &value)
{
    return VXIsList(value) ? value.toList() : QVariantList();
}

/** The elements of a list as texts; none when the value is no list. */
inline QStringList VXStringListFrom(const QVariant &value)
{
    return VXIsList(value) ? value.toStringList() : QStringList();
}
