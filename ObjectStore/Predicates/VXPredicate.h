#pragma once

#include "VXError.h"
#include "VXExpression.h"
#include "VXTextComparison.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <optional>

class VXConstantSet;

/**
 * A condition on objects: comparisons joined by and, or, not. Made once, from text or from parts; evaluated on objects
 * in memory or compiled to SQL by a store. A cheap value: copies share immutable data. Reentrant.
 *
 *   name BEGINSWITH[cd] "ja" AND calls.@count > 2
 *   ANY calls.caller.name == %@ OR NOT index IN {1, 2, $OTHER}
 *
 * Words are case-insensitive. %K stands for a key path and %@ for a value; both are taken from the arguments in order.
 */
class VX_STORE_EXPORT VXPredicate
{
public:
    enum class Kind { True, False, And, Or, Not, Comparison };
    enum class Operator {
        Equal,
        NotEqual,
        Less,
        LessOrEqual,
        Greater,
        GreaterOrEqual,
        BeginsWith,
        EndsWith,
        Contains,
        Like,
        Matches,
        In,
        Between,
    };
    /** The meaning of the comparison if its left side is a collection. */
    enum class Modifier { Direct, Any, All, None };

    /** @return empty, with the problem and its position as error, when the text is no predicate or arguments are
     *  missing. */
    [[nodiscard]] static std::optional<VXPredicate>
    predicateWithFormat(const QString &format, const QVariantList &arguments = {}, VXError *error = nullptr);

    /** True for every object. */
    VXPredicate();
    static VXPredicate truth(bool value);
    /** Without predicates, "and" is true and "or" is false. */
    static VXPredicate allOf(const QList<VXPredicate> &predicates);
    static VXPredicate anyOf(const QList<VXPredicate> &predicates);
    static VXPredicate negationOf(const VXPredicate &predicate);
    /** The value at a key path beside a constant. */
    static VXPredicate comparison(const QString &keyPath, Operator comparison, const QVariant &value);
    static VXPredicate comparison(const VXExpression &left, Operator comparison, const VXExpression &right,
                                  VXTextOptions options = {}, Modifier modifier = Modifier::Direct);

    Kind kind() const;
    /** For And, Or and Not. */
    const QList<VXPredicate> &subpredicates() const;
    // For comparisons:
    const VXExpression &left() const;
    const VXExpression &right() const;
    Operator comparisonOperator() const;
    VXTextOptions options() const;
    Modifier modifier() const;
    /** The constants of In with a long list; otherwise nullptr. */
    const VXConstantSet *constants() const;
    /** Joins many comparisons of one key path with constants in an Or into a single one with a list; otherwise returns
     *  the predicate itself. */
    VXPredicate joined() const;

    /** The predicate with $VARIABLES replaced by values; those without a value are kept. */
    VXPredicate substituted(const QVariantMap &variables) const;
    /** The names of the remaining variables, without duplicates. */
    QStringList variables() const;

    /** Also false for values that cannot be compared, remaining variables, and invalid patterns. On the object's
     *  thread. */
    bool evaluateWithObject(const QVariant &object) const;

    /** Text that parses to an equal predicate, unless it contains values that have no notation, such as objects. */
    QString predicateFormat() const;

    friend bool operator==(const VXPredicate &a, const VXPredicate &b) { return a.isEqual(b); }

private:
    struct Node;

    explicit VXPredicate(std::shared_ptr<const Node> node);
    bool isEqual(const VXPredicate &other) const;
    bool isComparable() const;
    static std::shared_ptr<const Node> joinedAlternatives(const QList<VXPredicate> &predicates);
    static VXPredicate compound(Kind kind, const QList<VXPredicate> &predicates);

    std::shared_ptr<const Node> _node; // never null
};
