#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** Whether the value means "none": an invalid variant, or one with a null pointer, text or byte array. */
inline bool VXIsNone(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return static_cast<const QString *>(value.constData())->isNull();
    case QMetaType::QByteArray:
        return static_cast<const QByteArray *>(value.constData())->isNull();
    default:
        return value.isNull();
    }
}
