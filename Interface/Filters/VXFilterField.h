#pragma once

#include "VXInterfaceExport.h"
#include "VXPredicate.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** What a filter may ask about. A plain value. */
struct VX_INTERFACE_EXPORT VXFilterField
{
    enum class Type { Text, Number, Duration, Date, Boolean, Choice };
    struct Choice
    {
        QString title;
        QVariant value;
    };

    QString key;   // a key path
    QString title; // for people
    Type type = Type::Text;
    QList<Choice> choices = {}; // of a Choice

    /** Those that make sense for the type, the most usual first. */
    QList<VXPredicate::Operator> operators() const;
    /** "contains", "is at least", "is before": in the user's language. */
    QString titleOf(VXPredicate::Operator comparison) const;
    /** The value as people write it. */
    QString textOf(const QVariant &value) const;
};
