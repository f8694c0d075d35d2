#pragma once

#include "VXInterfaceExport.h"
#include "VXPredicate.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** A field that filters can test. A value type. */
struct VX_INTERFACE_EXPORT VXFilterField
{
    enum class Type { Text, Number, Duration, Date, Boolean, Choice };
    struct Choice
    {
        QString title;
        QVariant value;
    };

    QString key;   // a key path
    QString title; // shown to users
    Type type = Type::Text;
    QList<Choice> choices = {}; // for the type Choice

    /** The operators for the type, the most usual first. */
    QList<VXPredicate::Operator> operators() const;
    /** "contains", "is at least", "is before": in the user's language. */
    QString titleOf(VXPredicate::Operator comparison) const;
    /** The value in readable form. */
    QString textOf(const QVariant &value) const;
};
