#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** The type of an attribute, and the corresponding type in a QVariant. */
enum class VXAttributeType : quint8 {
    Integer16,    // int, in the range of 16 bits
    Integer32,    // int, in the range of 32 bits
    Integer64,    // qlonglong
    Double,       // double
    Boolean,      // bool
    String,       // QString
    Date,         // QDateTime, UTC, to the millisecond
    Binary,       // QByteArray
    PropertyList, // any value that a property list can contain
};

/** The name in model files, such as "integer16" and "property-list". Reentrant, like everything in this header. */
VX_STORE_EXPORT QString VXAttributeTypeName(VXAttributeType type);
VX_STORE_EXPORT std::optional<VXAttributeType> VXAttributeTypeFromName(QStringView name);

/**
 * Whether the value has exactly the attribute's type, and is not none. A fast check: false for property lists and rare
 * cases, which VXAttributeValue handles.
 */
VX_STORE_EXPORT bool VXIsPlainAttributeValue(VXAttributeType type, const QVariant &value);

/**
 * Converts a value for the attribute: integers that fit to the attribute's integer type, dates to UTC and whole
 * milliseconds. None (invalid or null) stays none. @return empty when the value is of another kind or out of range.
 */
VX_STORE_EXPORT std::optional<QVariant> VXAttributeValue(VXAttributeType type, const QVariant &value);
