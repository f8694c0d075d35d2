#include "VXPredicate.h"

#include "VXConstantSet.h"
#include "VXContainer.h"
#include "VXException.h"
#include "VXNone.h"
#include "VXPredicateParser.h"

#include <QtCore/QHash>

#include <algorithm>

using namespace Qt::StringLiterals;

struct VXPredicate::Node
{
    Kind kind = Kind::True;
    QList<VXPredicate> subpredicates = {};
    VXExpression left = {};
    VXExpression right = {};
    Operator comparison = Operator::Equal;
    VXTextOptions options = {};
    Modifier modifier = Modifier::Direct;
    int depth = 1;             // nesting, including itself
    bool hasVariables = false; // of a comparison
    std::shared_ptr<const VXConstantSet> constants = {};
    std::shared_ptr<const Node> joined = {};
};

namespace {

// A limit, since evaluation and destruction are recursive.
constexpr int deepest = 1000;

constexpr qsizetype longList = 16; // from this length on, a set is faster than a linear search

std::shared_ptr<const VXConstantSet> setOf(const VXExpression &expression, VXTextOptions options)
{
    const bool isConstant = expression.kind() == VXExpression::Kind::Constant;
    const QVariant value = isConstant ? expression.value() : QVariant();
    if (!VXIsList(value))
        return nullptr;
    const QVariantList elements = value.toList();
    return elements.size() < longList ? nullptr : std::make_shared<const VXConstantSet>(elements, options);
}

bool hasVariables(const VXExpression &expression)
{
    return expression.kind() == VXExpression::Kind::Variable ||
           std::any_of(expression.elements().cbegin(), expression.elements().cend(), hasVariables);
}

bool isAlternative(const VXPredicate &predicate)
{
    return predicate.kind() == VXPredicate::Kind::Comparison &&
           predicate.comparisonOperator() == VXPredicate::Operator::Equal &&
           predicate.modifier() == VXPredicate::Modifier::Direct &&
           predicate.left().kind() == VXExpression::Kind::KeyPath &&
           predicate.right().kind() == VXExpression::Kind::Constant && !VXIsNone(predicate.right().value());
}

} // namespace

std::optional<VXPredicate> VXPredicate::predicateWithFormat(const QString &format, const QVariantList &arguments,
                                                            VXError *error)
{
    return VXPredicateParser(format, arguments).parse(error);
}

VXPredicate::VXPredicate() : VXPredicate(truth(true)) {}

VXPredicate::VXPredicate(std::shared_ptr<const Node> node) : _node(std::move(node)) {}

VXPredicate VXPredicate::truth(bool value)
{
    static const auto always = std::make_shared<const Node>(Node{.kind = Kind::True});
    static const auto never = std::make_shared<const Node>(Node{.kind = Kind::False});
    return VXPredicate(value ? always : never);
}

VXPredicate VXPredicate::compound(Kind kind, const QList<VXPredicate> &predicates)
{
    if (predicates.size() == 1 && kind != Kind::Not)
        return predicates.constFirst();
    int depth = 0;
    for (const VXPredicate &predicate : predicates)
        depth = std::max(depth, predicate._node->depth);
    VXAssert(depth < deepest, u"predicates are nested more than %1 deep"_s.arg(deepest));
    Node node{.kind = kind, .subpredicates = predicates, .depth = depth + 1};
    if (kind == Kind::Or && predicates.size() >= longList)
        node.joined = joinedAlternatives(predicates);
    return VXPredicate(std::make_shared<const Node>(std::move(node)));
}

// "a == 1 OR a == 2 OR b < 3" as "a IN {1, 2} OR b < 3"; null if that would not be much shorter.
std::shared_ptr<const VXPredicate::Node> VXPredicate::joinedAlternatives(const QList<VXPredicate> &predicates)
{
    QHash<QPair<QString, int>, QVariantList> values; // by key path and options
    const auto keyOf = [](const VXPredicate &each) {
        return std::pair(each.left().keys().join(u'.'), each.options().toInt());
    };
    for (const VXPredicate &each : predicates) {
        if (isAlternative(each))
            values[keyOf(each)].append(each.right().value());
    }
    QList<VXPredicate> parts;
    for (const VXPredicate &each : predicates) {
        if (!isAlternative(each))
            parts.append(each);
        else if (const QVariantList list = values.take(keyOf(each)); list.size() == 1)
            parts.append(each);
        else if (!list.isEmpty()) // otherwise it is in a list already
            parts.append(comparison(each.left(), Operator::In, VXExpression::constant(list), each.options()));
    }
    return parts.size() > predicates.size() / 2 ? nullptr : anyOf(parts)._node;
}

bool VXPredicate::isComparable() const
{
    return !_node->hasVariables;
}

const VXConstantSet *VXPredicate::constants() const
{
    return _node->constants.get();
}

VXPredicate VXPredicate::joined() const
{
    return _node->joined ? VXPredicate(_node->joined) : *this;
}

VXPredicate VXPredicate::allOf(const QList<VXPredicate> &predicates)
{
    return predicates.isEmpty() ? truth(true) : compound(Kind::And, predicates);
}

VXPredicate VXPredicate::anyOf(const QList<VXPredicate> &predicates)
{
    return predicates.isEmpty() ? truth(false) : compound(Kind::Or, predicates);
}

VXPredicate VXPredicate::negationOf(const VXPredicate &predicate)
{
    return compound(Kind::Not, {predicate});
}

VXPredicate VXPredicate::comparison(const QString &keyPath, Operator comparison, const QVariant &value)
{
    return VXPredicate::comparison(VXExpression::keyPath(keyPath), comparison, VXExpression::constant(value));
}

VXPredicate VXPredicate::comparison(const VXExpression &left, Operator comparison, const VXExpression &right,
                                    VXTextOptions options, Modifier modifier)
{
    return VXPredicate(
        std::make_shared<const Node>(Node{.kind = Kind::Comparison,
                                          .left = left,
                                          .right = right,
                                          .comparison = comparison,
                                          .options = options,
                                          .modifier = modifier,
                                          .hasVariables = hasVariables(left) || hasVariables(right),
                                          .constants = comparison == Operator::In ? setOf(right, options) : nullptr}));
}

VXPredicate::Kind VXPredicate::kind() const
{
    return _node->kind;
}

const QList<VXPredicate> &VXPredicate::subpredicates() const
{
    return _node->subpredicates;
}

const VXExpression &VXPredicate::left() const
{
    return _node->left;
}

const VXExpression &VXPredicate::right() const
{
    return _node->right;
}

VXPredicate::Operator VXPredicate::comparisonOperator() const
{
    return _node->comparison;
}

VXTextOptions VXPredicate::options() const
{
    return _node->options;
}

VXPredicate::Modifier VXPredicate::modifier() const
{
    return _node->modifier;
}

VXPredicate VXPredicate::substituted(const QVariantMap &variables) const
{
    if (kind() == Kind::Comparison)
        return comparison(left().substituted(variables), comparisonOperator(), right().substituted(variables),
                          options(), modifier());
    if (subpredicates().isEmpty())
        return *this;
    QList<VXPredicate> parts;
    for (const VXPredicate &predicate : subpredicates())
        parts.append(predicate.substituted(variables));
    return compound(kind(), parts);
}

namespace {

void gatherVariables(const VXExpression &expression, QStringList &names)
{
    if (expression.kind() == VXExpression::Kind::Variable && !names.contains(expression.value().toString()))
        names.append(expression.value().toString());
    for (const VXExpression &element : expression.elements())
        gatherVariables(element, names);
}

void gatherVariables(const VXPredicate &predicate, QStringList &names)
{
    gatherVariables(predicate.left(), names);
    gatherVariables(predicate.right(), names);
    for (const VXPredicate &each : predicate.subpredicates())
        gatherVariables(each, names);
}

QString operatorFormat(VXPredicate::Operator comparison)
{
    switch (comparison) {
    case VXPredicate::Operator::Equal:
        return u"=="_s;
    case VXPredicate::Operator::NotEqual:
        return u"!="_s;
    case VXPredicate::Operator::Less:
        return u"<"_s;
    case VXPredicate::Operator::LessOrEqual:
        return u"<="_s;
    case VXPredicate::Operator::Greater:
        return u">"_s;
    case VXPredicate::Operator::GreaterOrEqual:
        return u">="_s;
    case VXPredicate::Operator::BeginsWith:
        return u"BEGINSWITH"_s;
    case VXPredicate::Operator::EndsWith:
        return u"ENDSWITH"_s;
    case VXPredicate::Operator::Contains:
        return u"CONTAINS"_s;
    case VXPredicate::Operator::Like:
        return u"LIKE"_s;
    case VXPredicate::Operator::Matches:
        return u"MATCHES"_s;
    case VXPredicate::Operator::In:
        return u"IN"_s;
    case VXPredicate::Operator::Between:
        return u"BETWEEN"_s;
    }
    return {};
}

QString modifierFormat(VXPredicate::Modifier modifier)
{
    switch (modifier) {
    case VXPredicate::Modifier::Direct:
        return {};
    case VXPredicate::Modifier::Any:
        return u"ANY "_s;
    case VXPredicate::Modifier::All:
        return u"ALL "_s;
    case VXPredicate::Modifier::None:
        return u"NONE "_s;
    }
    return {};
}

QString optionsFormat(VXTextOptions options)
{
    if (!options)
        return {};
    const bool ignoresCase = options.testFlag(VXTextOption::CaseInsensitive);
    const bool ignoresMarks = options.testFlag(VXTextOption::DiacriticInsensitive);
    return ignoresCase ? ignoresMarks ? u"[cd]"_s : u"[c]"_s : u"[d]"_s;
}

// Uses brackets only where needed, so that the text is nested no deeper than the one it was parsed from.
QString partFormat(const VXPredicate &part, VXPredicate::Kind whole)
{
    using Kind = VXPredicate::Kind;
    const bool isLooser = part.kind() == Kind::Or || (part.kind() == Kind::And && whole != Kind::Or);
    return isLooser ? u'(' + part.predicateFormat() + u')' : part.predicateFormat();
}

} // namespace

QStringList VXPredicate::variables() const
{
    QStringList names;
    gatherVariables(*this, names);
    return names;
}

QString VXPredicate::predicateFormat() const
{
    switch (kind()) {
    case Kind::True:
        return u"TRUEPREDICATE"_s;
    case Kind::False:
        return u"FALSEPREDICATE"_s;
    case Kind::Not:
        return "NOT "_L1 + partFormat(subpredicates().constFirst(), kind());
    case Kind::And:
    case Kind::Or: {
        QStringList parts;
        for (const VXPredicate &part : subpredicates())
            parts.append(partFormat(part, kind()));
        return parts.join(kind() == Kind::And ? " AND "_L1 : " OR "_L1);
    }
    case Kind::Comparison:
        return u"%1%2 %3%4 %5"_s.arg(modifierFormat(modifier()), left().format(), operatorFormat(comparisonOperator()),
                                     optionsFormat(options()), right().format());
    }
    return {};
}

bool VXPredicate::isEqual(const VXPredicate &other) const
{
    return _node == other._node ||
           (kind() == other.kind() && subpredicates() == other.subpredicates() && left() == other.left() &&
            right() == other.right() && comparisonOperator() == other.comparisonOperator() &&
            options() == other.options() && modifier() == other.modifier());
}
