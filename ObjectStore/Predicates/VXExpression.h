#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** One side of a comparison: a value, or where to get it. A value type; reentrant. */
class VX_STORE_EXPORT VXExpression
{
public:
    enum class Kind {
        Constant,
        KeyPath,   // keys to follow from the object, possibly with "@count"
        Self,      // the object itself
        Variable,  // $NAME, to be replaced by a value before evaluation
        Aggregate, // { a, b, ... }
    };

    /** The constant "none". */
    VXExpression() = default;
    static VXExpression constant(const QVariant &value);
    /** Keys separated by dots; a leading "SELF" is dropped. */
    static VXExpression keyPath(const QString &path);
    static VXExpression self();
    static VXExpression variable(const QString &name);
    static VXExpression aggregate(const QList<VXExpression> &elements);

    Kind kind() const { return _kind; }
    /** The value of a constant; for a variable its name. */
    const QVariant &value() const { return _value; }
    const QStringList &keys() const { return _keys; }
    const QList<VXExpression> &elements() const { return _elements; }

    /** The expression with variables replaced; those without a value are kept. */
    VXExpression substituted(const QVariantMap &variables) const;
    /** The value for an object. @return invalid for none and for a variable. */
    QVariant evaluate(const QVariant &object) const;
    /** The expression as written in predicates. */
    QString format() const;

    friend bool operator==(const VXExpression &a, const VXExpression &b)
    {
        return a._kind == b._kind && a._value == b._value && a._keys == b._keys && a._elements == b._elements;
    }

private:
    Kind _kind = Kind::Constant;
    QVariant _value;
    QStringList _keys;
    QList<VXExpression> _elements;
};
