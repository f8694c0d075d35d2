#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * What an object that is no QObject implements so that its values can be asked for by name. Store a pointer to it in
 * a QVariant as VXKeyValueCoding *, or register a conversion of its own pointer type to that.
 */
class VX_PLATFORM_EXPORT VXKeyValueCoding
{
public:
    virtual ~VXKeyValueCoding();
    /** Invalid for an unknown key and for a value that is none. */
    virtual QVariant valueForKey(const QString &key) const = 0;
};

Q_DECLARE_METATYPE(VXKeyValueCoding *)

/**
 * The object's value for a key: an entry of a map; a property, dynamic property or invokable getter of a QObject;
 * what a VXKeyValueCoding answers. A list gives the list of its elements' values (an element without one gives
 * an invalid value), and its count for "@count". Invalid for anything else. Ask on the object's thread.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QVariant VXValueForKey(const QVariant &object, const QString &key);

/** Follows keys separated by dots, each on the value of the one before; invalid as soon as one has none. */
[[nodiscard]] VX_PLATFORM_EXPORT QVariant VXValueForKeyPath(const QVariant &object, const QString &keyPath);
