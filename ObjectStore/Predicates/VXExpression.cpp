#include "VXExpression.h"

#include "VXKeyValueCoding.h"
#include "VXNone.h"
#include "VXPredicateWords.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QString quoted(QString text)
{
    text.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s);
    return u'"' + text.replace(u'\n', u"\\n"_s).replace(u'\t', u"\\t"_s) + u'"';
}

QString constantFormat(const QVariant &value)
{
    if (VXIsNone(value))
        return u"NULL"_s;
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? u"TRUE"_s : u"FALSE"_s;
    case QMetaType::Double:
        if (std::isinf(value.toDouble())) // which is parsed as infinity, being too large
            return value.toDouble() > 0 ? u"1e999"_s : u"-1e999"_s;
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDateTime:
        return u"CAST(%1, \"date\")"_s.arg(quoted(value.toDateTime().toUTC().toString(Qt::ISODateWithMs)));
    case QMetaType::QByteArray:
        return u"CAST(%1, \"data\")"_s.arg(quoted(QString::fromLatin1(value.toByteArray().toBase64())));
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QStringList texts;
        for (const QVariant &element : value.toList())
            texts.append(constantFormat(element));
        return u'{' + texts.join(", "_L1) + u'}';
    }
    case QMetaType::QString:
        return quoted(value.toString());
    default:
        return value.toString();
    }
}

QString keyFormat(const QString &key)
{
    const bool isWord = key.isEmpty() || key.front().isLetter() || u"_@$"_s.contains(key.front());
    return !isWord || VXIsPredicateWord(key) ? u'#' + key : key;
}

} // namespace

VXExpression VXExpression::constant(const QVariant &value)
{
    VXExpression made;
    if (!VXIsNone(value))
        made._value = value.typeId() == QMetaType::QStringList ? QVariant(value.toList()) : value;
    return made;
}

VXExpression VXExpression::keyPath(const QString &path)
{
    VXExpression made;
    made._kind = Kind::KeyPath;
    made._keys = path.contains(u'.') ? path.split(u'.') : QStringList{path};
    if (made._keys.constFirst().compare("SELF"_L1, Qt::CaseInsensitive) == 0)
        made._keys.removeFirst();
    return made._keys.isEmpty() ? self() : made;
}

VXExpression VXExpression::self()
{
    VXExpression made;
    made._kind = Kind::Self;
    return made;
}

VXExpression VXExpression::variable(const QString &name)
{
    VXExpression made;
    made._kind = Kind::Variable;
    made._value = name;
    return made;
}

// An aggregate of constants becomes a constant: computed once, and equal to others however written.
VXExpression VXExpression::aggregate(const QList<VXExpression> &elements)
{
    const auto isConstant = [](const VXExpression &element) { return element._kind == Kind::Constant; };
    VXExpression made;
    made._kind = Kind::Aggregate;
    made._elements = elements;
    return std::all_of(elements.cbegin(), elements.cend(), isConstant) ? constant(made.evaluate({})) : made;
}

VXExpression VXExpression::substituted(const QVariantMap &variables) const
{
    if (_kind == Kind::Variable) {
        const auto found = variables.constFind(_value.toString());
        return found == variables.cend() ? *this : constant(*found);
    }
    if (_kind != Kind::Aggregate)
        return *this;
    QList<VXExpression> elements;
    for (const VXExpression &element : _elements)
        elements.append(element.substituted(variables));
    return aggregate(elements);
}

QVariant VXExpression::evaluate(const QVariant &object) const
{
    switch (_kind) {
    case Kind::Constant:
        return _value;
    case Kind::Self:
        return object;
    case Kind::Variable:
        return {};
    case Kind::KeyPath: {
        QVariant value = object;
        for (const QString &key : _keys)
            value = VXValueForKey(value, key);
        return value;
    }
    case Kind::Aggregate: {
        QVariantList values;
        for (const VXExpression &element : _elements)
            values.append(element.evaluate(object));
        return values;
    }
    }
    return {};
}

QString VXExpression::format() const
{
    switch (_kind) {
    case Kind::Constant:
        return constantFormat(_value);
    case Kind::Self:
        return u"SELF"_s;
    case Kind::Variable:
        return u'$' + _value.toString();
    case Kind::KeyPath: {
        QStringList keys;
        for (const QString &key : _keys)
            keys.append(keyFormat(key));
        return keys.join(u'.');
    }
    case Kind::Aggregate: {
        QStringList texts;
        for (const VXExpression &element : _elements)
            texts.append(element.format());
        return u'{' + texts.join(", "_L1) + u'}';
    }
    }
    return {};
}
