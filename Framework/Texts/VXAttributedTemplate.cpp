#include "VXAttributedTemplate.h"

#include "VXKeyValueCoding.h"
#include "VXNone.h"
#include "VXValueTransformer.h"

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

const QString VXAttributedTemplate::attributeName = u"field"_s;

namespace {

bool isKeyPath(QStringView text)
{
    const auto fits = [](QChar c) { return c.isLetterOrNumber() || c == u'_' || c == u'.' || c == u'-' || c == u'@'; };
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), fits);
}

// The field that begins with "${" at the position, and where it ends; none when there is no valid field.
std::optional<VXAttributedTemplate::Part> fieldAt(const QString &text, qsizetype start, qsizetype *behind)
{
    const qsizetype end = text.indexOf(u'}', start + 2);
    if (end < 0)
        return std::nullopt;
    const QString inside = text.mid(start + 2, end - start - 2);
    const qsizetype bar = inside.indexOf(u'|');
    VXAttributedTemplate::Part field;
    field.key = bar < 0 ? inside : inside.left(bar);
    field.transformer = bar < 0 ? QString() : inside.mid(bar + 1);
    if (!isKeyPath(field.key) || (bar >= 0 && !isKeyPath(field.transformer)))
        return std::nullopt;
    *behind = end + 1;
    return field;
}

QString shownValue(const VXAttributedTemplate::Part &field, const QVariant &object)
{
    QVariant value = VXValueForKeyPath(object, field.key);
    if (!field.transformer.isNull()) {
        if (const auto transformer = VXValueTransformer::valueTransformerForName(field.transformer))
            value = transformer->transformedValue(value);
    }
    return VXIsNone(value) ? QString() : value.toString();
}

} // namespace

VXAttributedTemplate::VXAttributedTemplate(const QString &text)
{
    qsizetype position = 0;
    while (position < text.size()) {
        const qsizetype sign = text.indexOf(u'$', position);
        if (sign < 0)
            break;
        append({text.mid(position, sign - position)});
        qsizetype behind = sign + 1;
        const QChar next = behind < text.size() ? text.at(behind) : QChar();
        if (next == u'$') {
            append({u"$"_s});
            ++behind;
        } else if (const auto field = next == u'{' ? fieldAt(text, sign, &behind) : std::nullopt) {
            append(*field);
        } else {
            append({u"$"_s});
        }
        position = behind;
    }
    append({text.mid(position)});
}

VXAttributedTemplate::VXAttributedTemplate(const QList<Part> &parts)
{
    for (const Part &part : parts)
        append(part);
}

void VXAttributedTemplate::append(const Part &part)
{
    if (!part.isField() && part.text.isEmpty())
        return;
    if (!part.isField() && !_parts.isEmpty() && !_parts.last().isField())
        _parts.last().text += part.text;
    else
        _parts.append(part);
}

QString VXAttributedTemplate::text() const
{
    QString text;
    for (const Part &part : _parts) {
        if (part.isField())
            text += "${"_L1 + part.key + (part.transformer.isNull() ? QString() : u'|' + part.transformer) + u'}';
        else
            text += QString(part.text).replace(u'$', "$$"_L1);
    }
    return text;
}

QStringList VXAttributedTemplate::keys() const
{
    QStringList keys;
    for (const Part &part : _parts) {
        if (part.isField() && !keys.contains(part.key))
            keys.append(part.key);
    }
    return keys;
}

QString VXAttributedTemplate::filledIn(const QVariant &object) const
{
    return attributedString(object).string;
}

VXAttributedString VXAttributedTemplate::attributedString(const QVariant &object) const
{
    VXAttributedString result;
    for (const Part &part : _parts) {
        const QString text = part.isField() ? shownValue(part, object) : part.text;
        if (part.isField() && !text.isEmpty())
            result.runs.append({result.string.size(), text.size(), {{attributeName, part.key}}});
        result.string += text;
    }
    return result;
}
