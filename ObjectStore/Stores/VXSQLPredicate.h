#pragma once

#include "VXManagedObjectID.h"
#include "VXPredicate.h"
#include "VXSortDescriptor.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariantList>

#include <functional>
#include <optional>

/** "(a AND b AND ...)", with brackets around groups where there are more than SQLite takes in one row. */
QString VXSQLJoined(const QStringList &parts, QLatin1StringView word);

/**
 * Says predicates and sort descriptors in SQL, so that just those rows match for which VXPredicate::evaluateWithObject is true.
 * SQL's third truth value counts as false: a negation is written IS NOT TRUE. The table of the entity is named t0. Values and
 * texts never become part of the SQL; they are the parameters ?1 and on. For one statement; used once.
 */
class VXSQLPredicate
{
public:
    /** Objects are those of `entity` in `store`. */
    VXSQLPredicate(const VXEntityDescription &entity, const VXStoreIdentity &store) : _entity(entity), _store(store) {}

    /** Adds the conditions that SQL can decide. @return false when it was not the whole of the predicate. */
    bool add(const VXPredicate &predicate);
    /** An expression for ORDER BY; null when SQL cannot say it. */
    QString order(const VXSortDescriptor &descriptor);
    /** Adds a value. @return the parameter that stands for it. */
    QString parameter(const QVariant &value);

    /** All conditions, joined by AND; null when there are none. */
    QString conditions() const;
    /** Of the parameters, in order: texts, numbers, dates and data. */
    const QVariantList &values() const { return _values; }
    /** The value of a parameter that stands for a constant. */
    static QVariant boundValue(const QVariant &constant);
    /** What stands for a number that reals must exceed, as BETWEEN begins with its bound; not a number above infinity. */
    static double leastAbove(double number);
    /** Whether an index leads to the rows. */
    bool isSelective() const { return _isSelective; }

private:
    struct Unsupported // thrown where SQL cannot say it
    {
    };
    enum class Family { None, Number, Text, Date, Data, Object, Other };

    /** An SQL expression that has one value. */
    struct Scalar
    {
        QString sql = {}; // of a constant not used
        Family family = Family::None;
        const VXEntityDescription *root = nullptr; // of objects; nullptr: of no object of the store
        bool isReal = false;                       // a column that can hold "not a number"
        bool isConstant = false;
        QVariant constant = {};
    };
    /** Keys followed from a row. */
    struct Path
    {
        QList<const VXRelationshipDescription *> steps = {}; // from row to row
        const VXPropertyDescription *end = nullptr;          // of the last row; nullptr: that row itself
        const VXRelationshipDescription *counted = nullptr;  // "@count" of it, in place of an end
        const VXEntityDescription *entity = nullptr;         // of the last row
        int collectionCount = 0;                             // how many steps are to-many
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

    // -- Comparisons of values; `mayBeNone`: none is a value like others on the left side, else it never holds
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
    /** Of a constant a new parameter. */
    QString sql(const Scalar &scalar);
    Path path(const QStringList &keys) const;
    /** That one of the rows, or the one row, the path leads to fulfils the condition. */
    QString some(const Path &path, const Condition &condition, qsizetype step = 0,
                 const QString &table = QStringLiteral("t0"));
    /** The value at the end of a path without collections; NULL where the path is broken. */
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
