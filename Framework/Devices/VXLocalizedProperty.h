#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * A device property for people: a value, what to call it, where it stands among others, and which value transformer
 * makes the text that is shown. A value type; copies are independent. Store it in a device property to list it.
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
    /** `title` is localized already; a smaller `priority` is shown earlier; a null transformer name names none. */
    VXLocalizedProperty(const QVariant &value, const QString &title, int priority = 0,
                        const QString &valueTransformerName = {});

    QVariant value() const { return _value; }
    QString title() const { return _title; }
    int priority() const { return _priority; }
    QString valueTransformerName() const { return _valueTransformerName; }

    /** What the named transformer makes of the value; the value itself when none is named or registered. */
    QVariant transformedValue() const;

    /** Implicit, as Qt's values convert: to store it with setDeviceProperty. */
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
