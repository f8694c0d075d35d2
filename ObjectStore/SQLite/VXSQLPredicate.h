#pragma once

#include "VXManagedObjectID.h"
#include "VXPredicate.h"
#include "VXSortDescriptor.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariantList>

#include <functional>
#include <optional>

/** "(a AND b AND ...)", with nested brackets if there are more parts than SQLite accepts in a row. */
QString VXSQLJoined(const QStringList &parts, QLatin1StringView word);

/**
 * Compiles predicates and sort descriptors to SQL, so that exactly those rows match for which
 * VXPredicate::evaluateWithObject is true. SQL's NULL counts as false: a negation is written IS NOT TRUE. The table of
 * the entity is named t0. Values and texts never become part of the SQL; they are passed as the parameters ?1 and
 * following. For one statement.
 */
class VXSQLPredicate
{
public:
    /** For objects of `entity` in `store`. */
    VXSQLPredicate(const VXEntityDescription &entity, const VXStoreIdentity &store) : _entity(entity), _store(store) {}

    /** Adds the conditions that SQL can express. @return false when that is not the whole predicate. */
    bool add(const VXPredicate &predicate);
    /** An expression for ORDER BY; null when SQL cannot express it. */
    QString order(const VXSortDescriptor &descriptor);
    /** Adds a value. @return the parameter for it. */
    QString parameter(const QVariant &value);

    /** All conditions, joined by AND; null when there are none. */
    QString conditions() const;
    /** The values of the parameters, in order: texts, numbers, dates and data. */
    const QVariantList &values() const { return _values; }
    /** The value of the parameter for a constant. */
    static QVariant boundValue(const QVariant &constant);
    /** The least number greater than `number`, to be used as the lower bound of BETWEEN; NaN for infinity. */
    static double leastAbove(double number);
    /** Whether the rows can be found by an index. */
    bool isSelective() const { return _isSelective; }

private:
    struct Unsupported // thrown where SQL cannot express something
    {
    };
    enum class Family { None, Number, Text, Date, Data, Object, Other };

    /** An SQL expression with a single value. */
    struct Scalar
    {
        QString sql = {}; // unused for a constant
        Family family = Family::None;
        const VXEntityDescription *root = nullptr; // of objects; nullptr for an object outside this store
        bool isReal = false;                       // a column that may contain NaN
        bool isConstant = false;
        QVariant constant = {};
    };
    /** A key path that starts at a row. */
    struct Path
    {
        QList<const VXRelationshipDescription *> steps = {}; // from row to row
        const VXPropertyDescription *end = nullptr;          // of the last row; nullptr: the row itself
        const VXRelationshipDescription *counted = nullptr;  // the relationship of "@count", instead of an end
        const VXEntityDescription *entity = nullptr;         // of the last row
        int collectionCount = 0;                             // the number of to-many steps
    };
    /** One side of a comparison. */
    struct Operand
    {
        enum class Shape { Constant, Path, List };
        Shape shape = Shape::Constant;
        Scalar scalar = {}; // of a constant
        Path path = {};
        QList<VXExpression> elements = {}; // of a list
    };
    using Condition = std::function<QString(const Scalar &)>;

    QString compile(const VXPredicate &predicate);
    QString comparison(const VXPredicate &predicate);
    QString modified(const VXPredicate &predicate, const Operand &left, const Operand &right);
    QString direct(const VXPredicate &predicate, const Operand &left, const Operand &right);

    // -- Comparisons of values; `mayBeNone`: whether none may match on the left side, like any other value
    QString holds(const Scalar &left, VXPredicate::Operator comparison, const Operand &right, VXTextOptions options,
                  bool mayBeNone);
    QString equal(const Scalar &left, const Scalar &right, VXTextOptions options, bool mayBeNone);
    QString ordered(const Scalar &left, QLatin1StringView mark, const Scalar &right, VXTextOptions options);
    QString oneOf(const Scalar &left, const QList<VXExpression> &elements, VXTextOptions options, bool mayBeNone);
    QString oneOfConstants(const Scalar &left, const QVariantList &constants, VXTextOptions options);
    QString between(const Scalar &left, const Operand &bounds, VXTextOptions options);
    QString contains(const Path &path, const Operand &element, VXTextOptions options);
    QString texts(QLatin1StringView function, const Scalar &text, const Scalar &part, VXTextOptions options);
    QString beginsWith(const Scalar &text, const Scalar &part, VXTextOptions options);
    static Scalar folded(const Scalar &scalar, VXTextOptions options);

    // -- Expressions
    Operand operand(const VXExpression &expression);
    Scalar scalar(const Operand &operand);
    Scalar constant(const QVariant &value) const;
    /** For a constant, adds a parameter. */
    QString sql(const Scalar &scalar);
    Path path(const QStringList &keys) const;
    /** The condition that one of the rows, or the only row, that the path leads to meets the given condition. */
    QString some(const Path &path, const Condition &condition, qsizetype step = 0,
                 const QString &table = QStringLiteral("t0"));
    /** The value at the end of a path without collections; NULL if the path is interrupted. */
    QString value(const Path &path, qsizetype step, const QString &table);
    Scalar end(const Path &path, const QString &table);
    static Family familyOf(VXAttributeType type);
    QString newTable();
    bool leadsToRows(const VXPredicate &predicate) const;

    const VXEntityDescription &_entity;
    const VXStoreIdentity &_store;
    QStringList _conditions;
    QVariantList _values;
    int _tableCount = 0;
    int _depth = 0;
    bool _isSelective = false;
};
