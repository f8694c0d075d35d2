#pragma once

#include <QtCore/QMetaType>

/** True for the types of whole numbers, of any width and sign, but not for truth values. */
inline bool VXIsWholeNumber(QMetaType type)
{
    switch (type.id()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
        return true;
    default:
        return false;
    }
}

/** True for the floating-point types. */
inline bool VXIsRealNumber(QMetaType type)
{
    return type.id() == QMetaType::Double || type.id() == QMetaType::Float;
}
