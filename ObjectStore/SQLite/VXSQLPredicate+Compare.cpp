#include "VXSQLPredicate.h"

#include "VXNone.h"
#include "VXValueComparison.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

constexpr qsizetype maximumMarkCount = 16; // longer lists of integers or texts are passed as one parameter

constexpr qsizetype maximumPartCount = 200;

const QString never = u"0"_s;

bool isNotANumber(const QVariant &value)
{
    return (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) && std::isnan(value.toDouble());
}

// What stands in a column for the value, where that is a whole number.
std::optional<qint64> storedNumber(const QVariant &value)
{
    return value.typeId() == QMetaType::QDateTime ? value.toDateTime().toMSecsSinceEpoch() : VXWholeNumber(value);
}

// The first text after all with that prefix, in the order of UTF-16LE bytes; null when there is none.
QString endOfBeginning(QString text)
{
    constexpr ushort highByte = 0xff00;
    while (!text.isEmpty()) {
        const ushort last = text.back().unicode();
        const ushort low = last & 0xff;
        const ushort high = last & highByte;
        text.chop(1);
        if (high != highByte) // the last byte
            return text + QChar(ushort(last + 0x100));
        if (low != 0xff) // the byte before
            return text + QChar(ushort(low + 1));
    }
    return {};
}

// SQLite ends a text at the first of these, and takes the others for damage.
bool isUnsayable(QChar character)
{
    return character.isNull() || character == QChar(0xFFFE) || character == QChar(0xFFFF);
}

// The texts as JSON; null when JSON cannot represent them.
QString textList(const QVariantList &texts)
{
    QJsonArray list;
    for (const QVariant &each : texts) {
        const QString text = each.toString();
        if (std::any_of(text.cbegin(), text.cend(), isUnsayable) || !text.isValidUtf16())
            return {};
        list.append(text);
    }
    return QString::fromUtf8(QJsonDocument(list).toJson(QJsonDocument::Compact));
}

} // namespace

QString VXSQLPredicate::holds(const Scalar &left, Operator comparison, const Operand &right, VXTextOptions options,
                              bool mayBeNone)
{
    switch (comparison) {
    case Operator::Equal:
        return equal(left, scalar(right), options, mayBeNone);
    case Operator::NotEqual: {
        const QString differs = u"(%1 IS NOT TRUE)"_s.arg(equal(left, scalar(right), options, mayBeNone));
        return mayBeNone ? differs : u"(%1 IS NOT NULL AND %2)"_s.arg(sql(left), differs);
    }
    case Operator::Less:
        return ordered(left, "<"_L1, scalar(right), options);
    case Operator::LessOrEqual:
        return ordered(left, "<="_L1, scalar(right), options);
    case Operator::Greater:
        return ordered(left, ">"_L1, scalar(right), options);
    case Operator::GreaterOrEqual:
        return ordered(left, ">="_L1, scalar(right), options);
    case Operator::Between:
        return between(left, right, options);
    case Operator::In:
        if (right.shape == Operand::Shape::List)
            return oneOf(left, right.elements, options, mayBeNone);
        return texts("VX_CONTAINS"_L1, scalar(right), left, options);
    case Operator::Contains:
        return texts("VX_CONTAINS"_L1, left, scalar(right), options);
    case Operator::BeginsWith:
        return beginsWith(left, scalar(right), options);
    case Operator::EndsWith:
        return texts("VX_ENDSWITH"_L1, left, scalar(right), options);
    case Operator::Like:
        return texts("VX_LIKE"_L1, left, scalar(right), options);
    case Operator::Matches:
        return texts("VX_MATCHES"_L1, left, scalar(right), options);
    }
    throw Unsupported{};
}

QString VXSQLPredicate::equal(const Scalar &left, const Scalar &right, VXTextOptions options, bool mayBeNone)
{
    if (left.family == Family::None && right.family != Family::None)
        return equal(right, left, options, mayBeNone);
    if (right.family == Family::None) {
        if (left.family == Family::None)
            return mayBeNone ? u"1"_s : never;
        return mayBeNone ? sql(left) + " IS NULL"_L1 : never;
    }
    // Property lists are compared as values, and other kinds of objects by identity: not by the contents of a column.
    if ((left.family == Family::Other && !(left.isConstant && right.family != Family::Object)) ||
        (right.family == Family::Other && !(right.isConstant && left.family != Family::Object)))
        throw Unsupported{};
    const bool isFixed = left.isConstant || right.isConstant;
    if (left.family != right.family || left.root != right.root)
        return mayBeNone && !isFixed ? u"(%1 IS NULL AND %2 IS NULL)"_s.arg(sql(left), sql(right)) : never;
    if (isNotANumber(left.constant) || isNotANumber(right.constant) ||
        (isFixed && left.family == Family::Object && left.root == nullptr))
        return never;
    const Scalar a = folded(left, options);
    const Scalar b = folded(right, options);
    if (isFixed || !mayBeNone)
        return a.isReal && b.isReal ? u"(%1 = %2 AND %1 <= 9e999)"_s.arg(sql(a), sql(b)) : sql(a) + " = "_L1 + sql(b);
    const QString same = sql(a) + " IS "_L1 + sql(b);
    return a.isReal && b.isReal ? u"(%1 AND (%2 IS NULL OR %2 <= 9e999))"_s.arg(same, sql(a)) : same;
}

QString VXSQLPredicate::ordered(const Scalar &left, QLatin1StringView mark, const Scalar &right, VXTextOptions options)
{
    if ((left.family == Family::Other && !left.isConstant) || (right.family == Family::Other && !right.isConstant))
        throw Unsupported{};
    if (left.family != right.family || left.family == Family::None || left.family == Family::Object ||
        left.family == Family::Other || isNotANumber(left.constant) || isNotANumber(right.constant))
        return never;
    const Scalar a = folded(left, options);
    const Scalar b = folded(right, options);
    // NaN is stored as data, which sorts after all numbers.
    if (a.isReal && mark == ">"_L1 && b.constant.typeId() == QMetaType::Double)
        return u"(%1 BETWEEN %2 AND 9e999)"_s.arg(sql(a), parameter(leastAbove(b.constant.toDouble())));
    if (a.isReal && mark == ">="_L1 && b.isConstant) // SQLite reads the column once for both bounds
        return u"(%1 BETWEEN %2 AND 9e999)"_s.arg(sql(a), sql(b));
    const QString condition = sql(a) + u' ' + mark + u' ' + sql(b);
    if (a.family == Family::Text)
        return u'(' + condition + " COLLATE VXTEXT)"_L1;
    const Scalar &greater = mark.startsWith(u'<') ? b : a;
    return greater.isReal ? u"(%1 AND %2 <= 9e999)"_s.arg(condition, sql(greater)) : condition;
}

double VXSQLPredicate::leastAbove(double number)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return number == infinity ? std::numeric_limits<double>::quiet_NaN() : std::nextafter(number, infinity);
}

QString VXSQLPredicate::oneOf(const Scalar &left, const QList<VXExpression> &elements, VXTextOptions options,
                              bool mayBeNone)
{
    QVariantList constants;
    QStringList parts;
    for (const VXExpression &element : elements) {
        if (element.kind() == VXExpression::Kind::Constant && !VXIsNone(element.value()) && !left.isConstant &&
            left.family != Family::Other)
            constants.append(element.value());
        else
            parts.append(equal(left, scalar(operand(element)), options, mayBeNone));
    }
    if (!constants.isEmpty())
        parts.append(oneOfConstants(left, constants, options));
    if (parts.size() > maximumPartCount)
        throw Unsupported{};
    return parts.isEmpty() ? never : u'(' + parts.join(" OR "_L1) + u')';
}

QString VXSQLPredicate::oneOfConstants(const Scalar &left, const QVariantList &constants, VXTextOptions options)
{
    QVariantList fitting;
    QStringList numbers;
    for (const QVariant &value : constants) {
        const Scalar element = folded(constant(value), options);
        if (element.family == Family::Other && left.family == Family::Object)
            throw Unsupported{};
        if (element.family != left.family || element.root != left.root || isNotANumber(value))
            continue;
        fitting.append(element.constant);
        if (const std::optional<qint64> number = storedNumber(element.constant))
            numbers.append(QString::number(*number));
    }
    const QString subject = sql(folded(left, options));
    if (fitting.isEmpty())
        return never;
    const QString list = fitting.size() <= maximumMarkCount ? QString()
                         : left.family == Family::Text      ? textList(fitting)
                         : numbers.size() == fitting.size() ? u'[' + numbers.join(u',') + u']'
                                                            : QString();
    if (!list.isNull())
        return u"%1 IN (SELECT value FROM json_each(%2))"_s.arg(subject, parameter(list));
    QStringList marks;
    for (const QVariant &value : std::as_const(fitting))
        marks.append(parameter(value));
    return u"%1 IN (%2)"_s.arg(subject, marks.join(", "_L1));
}

QString VXSQLPredicate::between(const Scalar &left, const Operand &bounds, VXTextOptions options)
{
    if (bounds.shape == Operand::Shape::Path)
        throw Unsupported{};
    if (bounds.shape != Operand::Shape::List || bounds.elements.size() != 2)
        return never;
    return u"(%1 AND %2)"_s.arg(ordered(left, ">="_L1, scalar(operand(bounds.elements[0])), options),
                                ordered(left, "<="_L1, scalar(operand(bounds.elements[1])), options));
}

// Whether an element is equal. None would be an element as well, so the value must not be none.
QString VXSQLPredicate::contains(const Path &path, const Operand &element, VXTextOptions options)
{
    const bool isSelf = element.shape == Operand::Shape::Path && element.path.steps.isEmpty() &&
                        element.path.end == nullptr && element.path.counted == nullptr;
    const bool isValue = element.shape == Operand::Shape::Constant && element.scalar.family != Family::None;
    if (path.collectionCount != 1 || !(isSelf || isValue))
        throw Unsupported{};
    const Scalar wanted = scalar(element);
    return some(path, [&](const Scalar &each) { return equal(each, wanted, options, false); });
}

QString VXSQLPredicate::texts(QLatin1StringView function, const Scalar &text, const Scalar &part, VXTextOptions options)
{
    if ((text.family == Family::Other && !text.isConstant) || (part.family == Family::Other && !part.isConstant))
        throw Unsupported{};
    if (text.family != Family::Text || part.family != Family::Text)
        return never;
    return u"%1(%2, %3, %4)"_s.arg(function, sql(text), sql(part)).arg(int(options.toInt()));
}

// Texts with the same prefix are adjacent in the order of bytes, which columns and indexes use.
QString VXSQLPredicate::beginsWith(const Scalar &text, const Scalar &part, VXTextOptions options)
{
    const QString beginning = part.constant.toString();
    if (options || text.isConstant || text.family != Family::Text || !part.isConstant || part.family != Family::Text ||
        beginning.isEmpty())
        return texts("VX_BEGINSWITH"_L1, text, part, options);
    const QString from = u"%1 >= %2"_s.arg(text.sql, parameter(beginning));
    const QString end = endOfBeginning(beginning);
    return end.isNull() ? u'(' + from + u')' : u"(%1 AND %2 < %3)"_s.arg(from, text.sql, parameter(end));
}

VXSQLPredicate::Scalar VXSQLPredicate::folded(const Scalar &scalar, VXTextOptions options)
{
    Scalar made = scalar;
    if (!options || scalar.family != Family::Text)
        return made;
    if (scalar.isConstant)
        made.constant = VXFoldedText(scalar.constant.toString(), options);
    else
        made.sql = u"VX_FOLD(%1, %2)"_s.arg(scalar.sql).arg(int(options.toInt()));
    return made;
}
