#pragma once

#include <QtCore/QMetaType>

/** Whether the type is an integer, of any width and sign, but not a truth value. */
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

/** Whether it is a floating-point type. */
inline bool VXIsRealNumber(QMetaType type)
{
    return type.id() == QMetaType::Double || type.id() == QMetaType::Float;
}
