#include "VXReadableText.h"

#include "VXHostJSON.h"
#include "VXShownDate.h"
#include "VXShownText.h"
#include "VXTextTable.h"
#include "VXVisibleText.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString indentation = u"  "_s;

bool isScalar(const QJsonValue &value)
{
    return !value.isObject() && !value.isArray();
}

// A value that fits on a line: none of its parts has parts itself.
bool isLine(const QJsonValue &value)
{
    const auto member = [](const auto &part) { return isScalar(part); };
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        return std::ranges::all_of(array, member);
    }
    const QJsonObject object = value.toObject();
    return std::all_of(object.begin(), object.end(), member);
}

// JSON contains dates, bytes and the like as {"$KIND": TEXT}.
bool isMarked(const QJsonObject &object)
{
    return object.size() == 1 && object.begin().key().startsWith(u'$');
}

// A date and time in the form for people; birthdays have no time.
QString dateOf(const QString &text, const QString &key)
{
    const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
    return key == "birthday"_L1 ? date.date().toString(Qt::ISODate) : VXShownDate(date);
}

QString lineOf(const QJsonValue &value, const QString &key = {})
{
    if (const QJsonObject object = value.toObject(); isMarked(object))
        return object.contains(u"$date"_s) ? dateOf(object.begin()->toString(), key) : lineOf(*object.begin());
    QStringList parts;
    if (value.isString())
        return VXVisibleText(value.toString()); // what a phone contains may come from anybody
    if (value.isArray()) {
        for (const auto &element : value.toArray())
            parts.append(lineOf(element));
    } else if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto member = object.begin(); member != object.end(); ++member)
            parts.append(VXShownText(member.key()) + u' ' + lineOf(*member, member.key()));
    } else {
        return value.isNull() ? u"-"_s : QString::fromUtf8(VXJSONText(value));
    }
    return parts.isEmpty() ? u"-"_s : parts.join(u", "_s);
}

QString indented(const QString &text)
{
    QStringList lines = text.split(u'\n');
    for (QString &line : lines)
        line = line.isEmpty() ? line : indentation + line;
    return lines.join(u'\n');
}

QString blocks(const QJsonArray &array)
{
    QStringList texts;
    for (const auto &element : array)
        texts.append(VXReadableText(element));
    return texts.join(u'\n');
}

// The rows of a member; none if it gets a section of its own.
QList<QStringList> rowsOf(const QString &key, const QJsonValue &value)
{
    if (isLine(value))
        return {{VXShownText(key), lineOf(value, key)}};
    const QJsonArray array = value.toArray();
    if (!std::ranges::all_of(array, [](const auto &element) { return isLine(element); }))
        return {};
    QList<QStringList> rows;
    for (const auto &element : array)
        rows.append({rows.isEmpty() ? VXShownText(key) : QString(), lineOf(element)});
    return rows;
}

QString membersOf(const QJsonObject &object)
{
    QString sections;
    QList<QStringList> rows;
    for (auto member = object.begin(); member != object.end(); ++member) {
        const QList<QStringList> own = rowsOf(member.key(), *member);
        rows += own;
        if (own.isEmpty())
            sections += VXShownText(member.key()) + u'\n' + indented(VXReadableText(*member)) + u'\n';
    }
    return sections + VXTextTable(rows);
}

} // namespace

QString VXReadableText(const QJsonValue &value)
{
    if (value.isNull() || value.isUndefined())
        return {};
    if (value.isObject() && !value.toObject().isEmpty() && !isMarked(value.toObject()))
        return membersOf(value.toObject());
    if (value.isArray() && !isLine(value))
        return blocks(value.toArray());
    return lineOf(value) + u'\n';
}
