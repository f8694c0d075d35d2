#include "VXPredicateParser.h"

#include "VXPredicateWords.h"

#include <QtCore/QDateTime>
#include <QtCore/QScopeGuard>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

using Kind = VXPredicateToken::Kind;
using Operator = VXPredicate::Operator;

namespace {

constexpr int maximumDepth = 200; // protects the stack

constexpr std::array<std::pair<QLatin1StringView, Operator>, 10> markOperators = {{
    {"=="_L1, Operator::Equal},
    {"="_L1, Operator::Equal},
    {"!="_L1, Operator::NotEqual},
    {"<>"_L1, Operator::NotEqual},
    {"<="_L1, Operator::LessOrEqual},
    {"=<"_L1, Operator::LessOrEqual},
    {">="_L1, Operator::GreaterOrEqual},
    {"=>"_L1, Operator::GreaterOrEqual},
    {"<"_L1, Operator::Less},
    {">"_L1, Operator::Greater},
}};

constexpr std::array<std::pair<QLatin1StringView, Operator>, 7> wordOperators = {{
    {"beginswith"_L1, Operator::BeginsWith},
    {"endswith"_L1, Operator::EndsWith},
    {"contains"_L1, Operator::Contains},
    {"like"_L1, Operator::Like},
    {"matches"_L1, Operator::Matches},
    {"in"_L1, Operator::In},
    {"between"_L1, Operator::Between},
}};

} // namespace

VXPredicateParser::VXPredicateParser(const QString &format, const QVariantList &arguments)
    : _scanner(format), _arguments(arguments)
{
}

std::optional<VXPredicate> VXPredicateParser::parse(VXError *error)
{
    try {
        advance();
        const VXPredicate predicate = disjunction();
        if (_token.kind != Kind::End)
            fail(u"the predicate should end here"_s);
        if (_nextArgument < _arguments.size())
            fail(u"there are more arguments than places for them"_s);
        return predicate;
    } catch (const Mistake &mistake) {
        VXSetError(error,
                   VXError::platformError(VXPlatformErrorCode::InvalidValue, u"The predicate cannot be read."_s,
                                          u"At character %1: %2."_s.arg(mistake.position + 1).arg(mistake.text)));
        return std::nullopt;
    }
}

void VXPredicateParser::fail(const QString &text) const
{
    throw Mistake{_token.position, _token.kind == Kind::Bad ? _token.text : text};
}

bool VXPredicateParser::takeWord(QLatin1StringView word)
{
    const bool isThere = _token.isWord(word);
    if (isThere)
        advance();
    return isThere;
}

bool VXPredicateParser::takeMark(QLatin1StringView mark)
{
    const bool isThere = _token.isMark(mark);
    if (isThere)
        advance();
    return isThere;
}

void VXPredicateParser::expectMark(QLatin1StringView mark)
{
    if (!takeMark(mark))
        fail(u"\"%1\" is missing"_s.arg(mark));
}

VXPredicate VXPredicateParser::disjunction()
{
    QList<VXPredicate> parts{conjunction()};
    while (takeWord("or"_L1) || takeMark("||"_L1))
        parts.append(conjunction());
    return VXPredicate::anyOf(parts);
}

VXPredicate VXPredicateParser::conjunction()
{
    QList<VXPredicate> parts{negation()};
    while (takeWord("and"_L1) || takeMark("&&"_L1))
        parts.append(negation());
    return VXPredicate::allOf(parts);
}

VXPredicate VXPredicateParser::negation()
{
    if (++_depth > maximumDepth)
        fail(u"it is nested too deeply"_s);
    const auto leave = qScopeGuard([this] { --_depth; });
    if (takeWord("not"_L1) || takeMark("!"_L1))
        return VXPredicate::negationOf(negation());
    return simple();
}

VXPredicate VXPredicateParser::simple()
{
    if (takeMark("("_L1)) {
        const VXPredicate inner = disjunction();
        expectMark(")"_L1);
        return inner;
    }
    if (takeWord("truepredicate"_L1))
        return VXPredicate::truth(true);
    if (takeWord("falsepredicate"_L1))
        return VXPredicate::truth(false);
    return comparison();
}

VXPredicate VXPredicateParser::comparison()
{
    const VXPredicate::Modifier meant = modifier();
    const VXExpression left = expression();
    const Operator operation = comparisonOperator();
    const VXTextOptions options = textOptions(operation);
    const VXExpression right = expression();
    return VXPredicate::comparison(left, operation, right, options, meant);
}

VXPredicate::Modifier VXPredicateParser::modifier()
{
    if (takeWord("any"_L1) || takeWord("some"_L1))
        return VXPredicate::Modifier::Any;
    if (takeWord("all"_L1))
        return VXPredicate::Modifier::All;
    return takeWord("none"_L1) ? VXPredicate::Modifier::None : VXPredicate::Modifier::Direct;
}

Operator VXPredicateParser::comparisonOperator()
{
    for (const auto &[mark, operation] : markOperators) {
        if (takeMark(mark))
            return operation;
    }
    for (const auto &[word, operation] : wordOperators) {
        if (takeWord(word))
            return operation;
    }
    fail(u"a comparison such as == or CONTAINS is missing"_s);
}

VXTextOptions VXPredicateParser::textOptions(Operator comparison)
{
    VXTextOptions options;
    if (comparison == Operator::Between || !takeMark("["_L1))
        return options;
    for (const QChar letter : std::as_const(_token.text)) {
        if (_token.kind == Kind::Word && (letter == u'c' || letter == u'C'))
            options |= VXTextOption::CaseInsensitive;
        else if (_token.kind == Kind::Word && (letter == u'd' || letter == u'D'))
            options |= VXTextOption::DiacriticInsensitive;
        else
            fail(u"[c], [d] or [cd] may stand here"_s);
    }
    advance();
    expectMark("]"_L1);
    return options;
}

VXExpression VXPredicateParser::expression()
{
    switch (_token.kind) {
    case Kind::Word:
        return wordExpression();
    case Kind::Number:
        return number();
    case Kind::Text: {
        const QString text = _token.text;
        advance();
        return VXExpression::constant(text);
    }
    default:
        break;
    }
    if (takeMark("{"_L1))
        return aggregate();
    if (takeMark("%@"_L1))
        return VXExpression::constant(argument());
    if (takeMark("%K"_L1)) {
        const QString path = argument().toString();
        if (path.isEmpty())
            fail(u"an argument is no key path"_s);
        return VXExpression::keyPath(path);
    }
    fail(u"a value or key is missing"_s);
}

VXExpression VXPredicateParser::wordExpression()
{
    const QString word = _token.text;
    if (takeWord("true"_L1) || takeWord("yes"_L1))
        return VXExpression::constant(true);
    if (takeWord("false"_L1) || takeWord("no"_L1))
        return VXExpression::constant(false);
    if (takeWord("null"_L1) || takeWord("nil"_L1))
        return VXExpression::constant({});
    if (takeWord("cast"_L1))
        return cast();
    const bool isVariable = word.startsWith(u'$');
    const bool isKey = word.startsWith(u'#');
    const QString name = isVariable || isKey ? word.sliced(1) : word;
    if (name.isEmpty() || (VXIsPredicateWord(word) && !_token.isWord("self"_L1)))
        fail(u"a value or key is missing"_s);
    advance();
    return isVariable ? VXExpression::variable(name) : keyPath(name);
}

VXExpression VXPredicateParser::number()
{
    bool isWhole = false;
    const qlonglong whole = _token.text.toLongLong(&isWhole);
    const double real = _token.text.toDouble();
    advance();
    return VXExpression::constant(isWhole ? QVariant(whole) : QVariant(real));
}

VXExpression VXPredicateParser::keyPath(const QString &first)
{
    QStringList keys{first};
    while (takeMark("."_L1)) {
        if (_token.kind != Kind::Word || _token.text == "#"_L1)
            fail(u"a key is missing behind the dot"_s);
        keys.append(_token.text.startsWith(u'#') ? _token.text.sliced(1) : _token.text);
        advance();
    }
    return VXExpression::keyPath(keys.join(u'.'));
}

VXExpression VXPredicateParser::aggregate()
{
    QList<VXExpression> elements;
    if (++_depth > maximumDepth)
        fail(u"it is nested too deeply"_s);
    const auto leave = qScopeGuard([this] { --_depth; });
    if (takeMark("}"_L1))
        return VXExpression::aggregate(elements);
    do {
        elements.append(expression());
    } while (takeMark(","_L1));
    expectMark("}"_L1);
    return VXExpression::aggregate(elements);
}

// CAST("2026-01-02T03:04:05.678Z", "date") and CAST("AQID", "data")
VXExpression VXPredicateParser::cast()
{
    expectMark("("_L1);
    const QString text = _token.text;
    advance();
    expectMark(","_L1);
    const QString type = _token.text;
    QVariant value;
    if (type == "date"_L1)
        value = QDateTime::fromString(text, Qt::ISODateWithMs).toUTC();
    else if (const auto decoded =
                 QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
             type == "data"_L1 && decoded)
        value = *decoded;
    if (!value.isValid() || (type == "date"_L1 && !value.toDateTime().isValid()))
        fail(u"a date or data is expected in CAST"_s);
    advance();
    expectMark(")"_L1);
    return VXExpression::constant(value);
}

QVariant VXPredicateParser::argument()
{
    if (_nextArgument >= _arguments.size())
        fail(u"an argument is missing"_s);
    return _arguments[_nextArgument++];
}
