#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * Implemented by objects that are no QObjects to give access to their values by name. Store a pointer to it in a
 * QVariant as VXKeyValueCoding *, or register a conversion of its own pointer type to that.
 */
class VX_PLATFORM_EXPORT VXKeyValueCoding
{
public:
    virtual ~VXKeyValueCoding();
    /** Invalid for an unknown key and for a value of none. */
    virtual QVariant valueForKey(const QString &key) const = 0;
};

Q_DECLARE_METATYPE(VXKeyValueCoding *)

/**
 * The object's value for a key: an entry of a map; a property, dynamic property or invokable getter of a QObject; the
 * result of a VXKeyValueCoding. A list gives the list of its elements' values (invalid for an element without a value),
 * and its size for "@count". Invalid for anything else. On the object's thread.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QVariant VXValueForKey(const QVariant &object, const QString &key);

/** Follows keys separated by dots, each applied to the value before; invalid as soon as one has no value. */
[[nodiscard]] VX_PLATFORM_EXPORT QVariant VXValueForKeyPath(const QVariant &object, const QString &keyPath);
