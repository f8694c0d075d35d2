#include "VXCardLine.h"

#include "VXCardText.h"
#include "VXContentLines.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The position of the colon before the value: the first colon outside quotation marks, or, if a quotation has no end,
// the first colon.
qsizetype colonOf(const QByteArray &line)
{
    bool isQuoted = false;
    for (qsizetype index = 0; index < line.size(); ++index) {
        if (line[index] == '"')
            isQuoted = !isQuoted;
        else if (line[index] == ':' && !isQuoted)
            return index;
    }
    return line.indexOf(':');
}

QList<QByteArray> partsOf(const QByteArray &header)
{
    QList<QByteArray> parts{QByteArray()};
    bool isQuoted = false;
    for (const char character : header) {
        isQuoted = isQuoted != (character == '"');
        if (character == ';' && !isQuoted)
            parts.append(QByteArray());
        else
            parts.last().append(character);
    }
    return parts;
}

bool isName(const QByteArray &name)
{
    return !name.isEmpty() && std::ranges::all_of(name, [](char each) {
        return (each >= 'A' && each <= 'Z') || (each >= 'a' && each <= 'z') || (each >= '0' && each <= '9') ||
               each == '-' || each == '_';
    });
}

// A single word is a type, or an encoding, as in version 2.1.
std::pair<QString, QString> parameterOf(const QByteArray &part)
{
    const qsizetype equals = part.indexOf('=');
    const QString value = QString::fromUtf8(part.sliced(equals + 1)).trimmed();
    if (equals >= 0)
        return {QString::fromUtf8(part.first(equals)).trimmed().toUpper(), value};
    const QString upper = value.toUpper();
    const bool isEncoding =
        upper == "QUOTED-PRINTABLE"_L1 || upper == "BASE64"_L1 || upper == "8BIT"_L1 || upper == "7BIT"_L1;
    return {isEncoding ? u"ENCODING"_s : u"TYPE"_s, value};
}

QString parameterText(const QString &value)
{
    const bool needsQuotes = !value.startsWith(u'"') && (value.contains(u':') || value.contains(u';'));
    return needsQuotes ? u'"' + value + u'"' : value;
}

} // namespace

QStringList VXCardLine::words(const QString &parameter) const
{
    QStringList words;
    for (const auto &[key, text] : parameters) {
        if (key != parameter)
            continue;
        QString plain = text;
        for (const QString &word : plain.remove(u'"').toLower().split(u',', Qt::SkipEmptyParts))
            words.append(word.trimmed());
    }
    return words;
}

QString VXCardLine::parametersBut(const QStringList &names) const
{
    QString kept;
    for (const auto &[parameter, text] : parameters) {
        if (!names.contains(parameter))
            kept += u';' + parameter + u'=' + parameterText(text);
    }
    return kept;
}

QString VXCardLine::contentLine() const
{
    const bool isEncoded = !isData && (!words(u"ENCODING"_s).isEmpty() || !words(u"CHARSET"_s).isEmpty());
    const QString plain = group.isEmpty() ? name : group + u'.' + name;
    const QString line = isEncoded ? plain + parametersBut({u"ENCODING"_s, u"CHARSET"_s}) : header;
    return line + u':' + (isData ? QString::fromLatin1(data.toBase64()) : value);
}

std::optional<VXCardLine> VXCardLine::parse(const VXRawCardLine &raw, QString *problem)
{
    const qsizetype colon = colonOf(raw.octets);
    QByteArray header = raw.octets.left(std::max<qsizetype>(colon, 0));
    header.removeIf([](char each) { return (each >= 0 && each < 0x20 && each != '\t') || each == 0x7f; });
    const QList<QByteArray> parts = partsOf(header);
    const QByteArray full = parts.constFirst().trimmed();
    const qsizetype dot = full.lastIndexOf('.');
    const QByteArray name = full.sliced(dot + 1);
    if (colon < 0 || !isName(name)) {
        *problem = u"this is no property"_s;
        return std::nullopt;
    }
    VXCardLine line;
    line.group = QString::fromUtf8(full.left(std::max<qsizetype>(dot, 0)));
    line.name = QString::fromLatin1(name).toUpper();
    line.header = QString::fromUtf8(header).trimmed();
    for (const QByteArray &part : parts.sliced(1)) {
        if (!part.trimmed().isEmpty())
            line.parameters.append(parameterOf(part));
    }
    if (raw.isTooLong) {
        *problem = u"\"%1\" has more than %2 MB and is left out"_s.arg(line.name).arg(VXCardLines::longestLine >> 20);
        return std::nullopt;
    }
    const QStringList encodings = line.words(u"ENCODING"_s);
    QByteArray octets = raw.octets.sliced(colon + 1);
    if (encodings.contains(u"b"_s) || encodings.contains(u"base64"_s)) {
        line.isData = true;
        octets.replace(' ', "").replace('\t', "");
        const auto decoded = QByteArray::fromBase64Encoding(octets, QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded) {
            *problem = u"the data of \"%1\" are no Base64"_s.arg(line.name);
            return std::nullopt;
        }
        line.data = *decoded;
        return line;
    }
    const bool isQuoted = encodings.contains(u"quoted-printable"_s);
    if (isQuoted)
        octets = VXDecodedQuotedPrintable(octets);
    const QStringList charsets = line.words(u"CHARSET"_s);
    line.value = VXDecodedText(octets, charsets.value(0).toLatin1());
    if (line.value.isNull()) { // the most frequent mistake is a missing charset
        const QString utf8 = VXDecodedText(octets, {});
        line.value = utf8.isNull() ? VXDecodedText(octets, "WINDOWS-1252") : utf8;
        if (line.value.isNull())
            line.value = QString::fromLatin1(octets);
        *problem = u"\"%1\" is not in %2; it was read as %3"_s.arg(
            line.name, charsets.isEmpty() ? u"UTF-8"_s : charsets.constFirst().toUpper(),
            utf8.isNull() ? u"Western"_s : u"UTF-8"_s);
    }
    if (isQuoted) // encoded line ends are text
        line.value.replace("\r\n"_L1, "\\n"_L1).replace(u'\n', "\\n"_L1).replace(u'\r', "\\n"_L1);
    line.value.removeIf([](QChar each) { return (each.unicode() < 0x20 && each != u'\t') || each.unicode() == 0x7f; });
    return line;
}
