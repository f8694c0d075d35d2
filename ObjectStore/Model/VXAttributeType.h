#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** What an attribute holds, and as which type of QVariant. */
enum class VXAttributeType : quint8 {
    Integer16,    // int, in the range of 16 bits
    Integer32,    // int
    Integer64,    // qlonglong
    Double,       // double
    Boolean,      // bool
    String,       // QString
    Date,         // QDateTime, UTC, to the millisecond
    Binary,       // QByteArray
    PropertyList, // any value that a property list can hold
};

/** The name in model files, as "integer16" and "property-list". Reentrant, as all of this header. */
VX_STORE_EXPORT QString VXAttributeTypeName(VXAttributeType type);
VX_STORE_EXPORT std::optional<VXAttributeType> VXAttributeTypeFromName(QStringView name);

/** Whether the value is just what an attribute of the type holds, and not none. Of property lists, and of what is seldom met, it
 * says no: VXAttributeValue knows more. */
VX_STORE_EXPORT bool VXIsPlainAttributeValue(VXAttributeType type, const QVariant &value);

/**
 * The value as the attribute holds it: whole numbers that fit are converted to the type's own, dates to UTC and whole
 * milliseconds. None (invalid or null) stays none. @return empty when the value is of another kind or out of range.
 */
VX_STORE_EXPORT std::optional<QVariant> VXAttributeValue(VXAttributeType type, const QVariant &value);
