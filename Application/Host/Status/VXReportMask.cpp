#include "VXReportMask.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QMessageAuthenticationCode>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype markDigits = 10; // 40 bits: enough to distinguish 100,000 values
constexpr double largestCount = 1e5; // seconds of a day, milliseconds, parts; telephone numbers are longer

// Keys of records and of the history whose numbers count something.
bool isCount(const QString &key)
{
    static const QSet<QString> keys{u"milliseconds"_s, u"process"_s,  u"thread"_s,    u"duration"_s,
                                    u"direction"_s,    u"state"_s,    u"partCount"_s, u"partNumber"_s,
                                    u"sentCount"_s,    u"location"_s, u"locations"_s, u"omittedTriggers"_s};
    return keys.contains(key);
}

// Keys whose texts are words defined by the program.
bool isWord(const QString &key)
{
    static const QSet<QString> keys{u"event"_s, u"subtype"_s, u"outcome"_s, u"reactor"_s, u"objectClass"_s};
    return keys.contains(key);
}

bool isDate(const QString &key, const QString &text)
{
    static const QSet<QString> keys{u"date"_s, u"$date"_s, u"event_date"_s, u"connectedDate"_s};
    return keys.contains(key) && QDateTime::fromString(text, Qt::ISODateWithMs).isValid();
}

// Only the digits, and letters in one case, because a number can be written in many ways.
QString plainForm(QLatin1StringView kind, const QString &value)
{
    QString plain = value.toLower();
    if (kind == "number"_L1)
        plain.removeIf([](QChar each) { return !each.isDigit(); });
    return plain;
}

} // namespace

VXReportMask::VXReportMask(VXOwnTexts own, const QByteArray &key, const QStringList &hidden)
    : _own(std::move(own)), _key(key), _hidden(hidden)
{
}

QString VXReportMask::mark(QLatin1StringView kind, const QString &value) const
{
    const QByteArray plain = plainForm(kind, value).toUtf8();
    const QByteArray digest = QMessageAuthenticationCode::hash(QByteArray(kind.data(), kind.size()) + ':' + plain, _key,
                                                               QCryptographicHash::Sha256);
    return u"<%1:%2>"_s.arg(kind, QString::fromLatin1(digest.toHex().first(markDigits)));
}

QString VXReportMask::kept(const QString &text) const
{
    QString kept = text;
    for (const QString &word : _hidden)
        kept.replace(word, mark("hidden"_L1, word), Qt::CaseInsensitive);
    return kept;
}

QString VXReportMask::word(const QString &word) const
{
    return _own.hasWord(word) ? kept(word) : text(word);
}

// The program's phrases stay; what is between them may be anybody's.
QString VXReportMask::text(const QString &text) const
{
    QString masked;
    qsizetype start = 0; // of text that is not the program's
    qsizetype at = 0;
    while (at < text.size()) {
        const qsizetype length = _own.lengthAt(text, at);
        if (length == 0) {
            ++at;
            continue;
        }
        masked += foreign(text.sliced(start, at - start)) + kept(text.sliced(at, length));
        at += length;
        start = at;
    }
    return text.isNull() ? QString() : masked + foreign(text.sliced(start));
}

// Values whose form makes them recognisable wherever they are, and words between them.
QString VXReportMask::foreign(const QString &text) const
{
    static const QRegularExpression forms(uR"((?<url>[A-Za-z][A-Za-z0-9+.-]*://[^\s"<>]+))"
                                          uR"(|(?<address>[^\s"<>,;:()\[\]]+@[^\s"<>,;:()\[\]]+))"
                                          uR"(|(?<path>(?<![\w/])[~.]{0,2}/[^\s"<>|]+))"
                                          uR"(|(?<number>[+(]?\d[\d\s()./-]*\d|\d))"_s,
                                          QRegularExpression::UseUnicodePropertiesOption);
    QString masked;
    qsizetype start = 0;
    for (auto found = forms.globalMatch(text); found.hasNext();) {
        const QRegularExpressionMatch match = found.next();
        masked += words(QStringView(text).sliced(start, match.capturedStart() - start));
        if (match.hasCaptured(u"url"_s))
            masked += deviceURL(match.captured());
        else if (match.hasCaptured(u"address"_s))
            masked += mark("address"_L1, match.captured());
        else if (match.hasCaptured(u"path"_s))
            masked += mark("path"_L1, match.captured());
        else
            masked += mark("number"_L1, match.captured());
        start = match.capturedEnd();
    }
    return masked + words(QStringView(text).sliced(start));
}

// Names and texts: everything between punctuation becomes one mark, so that not even the number of words is revealed.
QString VXReportMask::words(QStringView text) const
{
    static const QRegularExpression signs(
        uR"([\s"'<>()\[\]{}:;,.=|%&?!\\/+-]*(?:["'<>()\[\]{}:;,=|\\]|\n|^|$)[\s"'<>()\[\]{}:;,.=|%&?!\\/+-]*)"_s);
    QString masked;
    qsizetype start = 0;
    const auto addWords = [&](QStringView piece) {
        if (!piece.isEmpty())
            masked += mark("text"_L1, piece.toString());
    };
    for (auto found = signs.globalMatch(text.toString()); found.hasNext();) {
        const QRegularExpressionMatch match = found.next();
        addWords(text.sliced(start, match.capturedStart() - start));
        masked += match.captured();
        start = match.capturedEnd();
    }
    addWords(text.sliced(start));
    return masked;
}

// In URLs of devices and stored objects, the parts that the program defines stay.
QString VXReportMask::deviceURL(const QString &url) const
{
    static const QRegularExpression device(uR"(\Avxdevice://localhost/([\w.-]+)(/.*)?\z)"_s);
    static const QRegularExpression object(
        uR"(\Ax-coredata://[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}/(\w+)/p\d{1,12}\z)"_s);
    if (const auto match = object.match(url); match.hasMatch() && _own.hasWord(match.captured(2)))
        return url;
    const auto match = device.match(url);
    if (!match.hasMatch() || !match.captured(1).startsWith("com.halvern.VNX2."_L1))
        return mark("url"_L1, url);
    const QString rest = match.captured(2);
    return "vxdevice://localhost/"_L1 + kept(match.captured(1)) +
           (rest.isEmpty() ? QString() : u'/' + mark("device"_L1, rest.section(u'/', 1, 1)));
}

QString VXReportMask::logMessage(const QString &message) const
{
    static const QRegularExpression origin(uR"(\A(\[[A-Z]{4}\] )?(0x[0-9a-f]+) ([+-])\[(\w+) ([\w:~]+)\](.*)\z)"_s,
                                           QRegularExpression::DotMatchesEverythingOption);
    const auto match = origin.match(message);
    if (!match.hasMatch())
        return text(message);
    return match.captured(1) + mark("object"_L1, match.captured(2)) +
           u" %1[%2 %3]"_s.arg(match.captured(3), word(match.captured(4)), word(match.captured(5))) +
           text(match.captured(6));
}

QJsonValue VXReportMask::value(const QJsonValue &value, const QString &key) const
{
    switch (value.type()) {
    case QJsonValue::String:
        return isDate(key, value.toString())
                   ? value
                   : QJsonValue(isWord(key) ? word(value.toString()) : text(value.toString()));
    case QJsonValue::Double:
        return isCount(key) && std::abs(value.toDouble()) < largestCount
                   ? value
                   : QJsonValue(mark("number"_L1, value.toVariant().toString()));
    case QJsonValue::Array: {
        QJsonArray masked;
        for (const auto each : value.toArray())
            masked.append(this->value(each, key));
        return masked;
    }
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        QJsonObject masked;
        for (auto each = object.begin(); each != object.end(); ++each)
            masked.insert(word(each.key()), this->value(*each, each.key()));
        return masked;
    }
    default:
        return value;
    }
}
