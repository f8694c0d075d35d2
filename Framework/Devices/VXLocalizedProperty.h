#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * A device property for display: a value, its title, its position among others, and the value transformer that makes
 * the text to show. A value type; copies are independent. Store it in a device property to have it listed.
 */
class VX_EXPORT VXLocalizedProperty
{
    Q_GADGET
    Q_PROPERTY(QVariant value READ value CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(int priority READ priority CONSTANT)
    Q_PROPERTY(QString valueTransformerName READ valueTransformerName CONSTANT)

public:
    VXLocalizedProperty() = default;
    /** `title` is already localized; properties with a smaller `priority` are shown first; the transformer name may be
     *  null. */
    VXLocalizedProperty(const QVariant &value, const QString &title, int priority = 0,
                        const QString &valueTransformerName = {});

    QVariant value() const { return _value; }
    QString title() const { return _title; }
    int priority() const { return _priority; }
    QString valueTransformerName() const { return _valueTransformerName; }

    /** The value as the named transformer converts it; the value itself when no transformer is named or registered. */
    QVariant transformedValue() const;

    /** Implicit, like the conversions of Qt's value types, so that it can be passed to setDeviceProperty. */
    operator QVariant() const { return QVariant::fromValue(*this); }

    friend bool operator==(const VXLocalizedProperty &a, const VXLocalizedProperty &b)
    {
        return a._value == b._value && a._title == b._title && a._priority == b._priority &&
               a._valueTransformerName == b._valueTransformerName;
    }

private:
    QVariant _value;
    QString _title;
    int _priority = 0;
    QString _valueTransformerName;
};
