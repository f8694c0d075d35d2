#include "VXPropertyListXMLReader.h"

#include "VXPropertyListFault.h"

#include <QtCore/QDateTime>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// The next occurrence of the character, or the end.
const char *find(const char *begin, const char *end, char c)
{
    const void *found = begin == end ? nullptr : std::memchr(begin, c, size_t(end - begin));
    return found == nullptr ? end : static_cast<const char *>(found);
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isForbidden(char c)
{
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

QByteArrayView trimmed(QByteArrayView text)
{
    while (!text.isEmpty() && isSpace(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isSpace(text.back()))
        text.chop(1);
    return text;
}

// An excerpt for a message, short, so that a damaged file does not fill the log.
QString excerpt(QByteArrayView text)
{
    constexpr qsizetype longest = 40;
    return u'"' + QString::fromUtf8(text.first(std::min(text.size(), longest))) +
           (text.size() > longest ? u"…\""_s : u"\""_s);
}

// The whole text as a number; none when it is something else or does not fit.
template <class Number, class... Base>
std::optional<Number> parsed(QByteArrayView text, Base... base)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.cbegin(), text.cend(), number, base...);
    return error == std::errc() && end == text.cend() ? std::optional(number) : std::nullopt;
}

// Digits only, so that "+1" and "-1" are not accepted in a date.
std::optional<int> parsedDigits(QByteArrayView text)
{
    const bool digits = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return digits ? parsed<int>(text) : std::nullopt;
}

bool isXMLCharacter(quint32 code)
{
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xd7ff) ||
           (code >= 0xe000 && code <= 0xfffd) || (code >= 0x10000 && code <= 0x10ffff);
}

} // namespace

VXPropertyListXMLReader::VXPropertyListXMLReader(QByteArrayView text)
    : _begin(text.begin()), _position(text.begin()), _end(text.end())
{
}

void VXPropertyListXMLReader::fail(const QString &reason) const
{
    throw VXPropertyListFault(u"line %1: %2"_s.arg(std::count(_begin, _position, '\n') + 1).arg(reason));
}

QVariant VXPropertyListXMLReader::read()
{
    checkText();
    skipMiscellany();
    Tag tag = openingTag();
    const bool isWrapped = tag.name == "plist";
    if (isWrapped) {
        if (tag.isEmpty)
            fail(u"the property list has no value"_s);
        skipMiscellany();
        if (atClosingTag())
            fail(u"the property list has no value"_s);
        tag = openingTag();
    }
    QVariant result = value(tag, 1);
    skipMiscellany();
    if (isWrapped) {
        closingTag("plist");
        skipMiscellany();
    }
    if (_position != _end)
        fail(u"unexpected text after the value"_s);
    return result;
}

// Checks the whole text at once, which is much cheaper than piece by piece.
void VXPropertyListXMLReader::checkText() const
{
    const auto failAt = [this](const char *place, const QString &reason) {
        VXPropertyListXMLReader there(QByteArrayView(_begin, _end));
        there._position = place;
        there.fail(reason);
    };
    if (!rest().isValidUtf8()) {
        const char *line = _begin; // no sequence extends over a line end
        for (const char *end = line; end != _end; line = end + 1) {
            end = find(line, _end, '\n');
            if (!QByteArrayView(line, end).isValidUtf8())
                failAt(line, u"the text is not valid UTF-8"_s);
        }
    }
    if (const char *found = std::find_if(_begin, _end, isForbidden); found != _end)
        failAt(found, u"control character U+%1"_s.arg(int(*found), 4, 16, QChar(u'0')));
}

void VXPropertyListXMLReader::skipSpace()
{
    while (_position != _end && isSpace(*_position))
        ++_position;
}

void VXPropertyListXMLReader::skipPast(QByteArrayView token, const QString &what)
{
    const qsizetype found = rest().indexOf(token);
    if (found < 0)
        fail(u"%1 has no end"_s.arg(what));
    _position += found + token.size();
}

// Skips what may occur between elements: space, comments, processing instructions, the document type.
void VXPropertyListXMLReader::skipMiscellany()
{
    for (skipSpace(); startsWith("<!") || startsWith("<?"); skipSpace()) {
        if (startsWith("<!--"))
            skipPast("-->", u"a comment"_s);
        else if (startsWith("<?"))
            skipPast("?>", u"a processing instruction"_s);
        else if (startsWith("<!DOCTYPE"))
            skipDocumentType();
        else
            fail(u"unexpected \"<!\""_s);
    }
}

// Skips declarations inside it: entities defined there are unknown then, and cannot expand.
void VXPropertyListXMLReader::skipDocumentType()
{
    int brackets = 0;
    for (char quote = 0; _position != _end; ++_position) {
        const char c = *_position;
        if (quote != 0)
            quote = c == quote ? char(0) : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '[' || c == ']')
            brackets += c == '[' ? 1 : -1;
        else if (c == '>' && brackets <= 0) {
            ++_position;
            return;
        }
    }
    fail(u"the document type has no end"_s);
}

VXPropertyListXMLReader::Tag VXPropertyListXMLReader::openingTag()
{
    if (_position == _end)
        fail(u"unexpected end of the text"_s);
    if (*_position != '<')
        fail(u"expected an element, found %1"_s.arg(excerpt(rest())));
    const char *const name = ++_position;
    while (_position != _end && !isSpace(*_position) && *_position != '>' && *_position != '/' && *_position != '<')
        ++_position;
    Tag tag{std::string_view(name, size_t(_position - name)), false};
    for (char quote = 0; _position != _end; ++_position) { // attributes have no meaning here
        const char c = *_position;
        if (quote != 0)
            quote = c == quote ? char(0) : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '>')
            break;
        else if (c == '<')
            fail(u"the tag %1 has no end"_s.arg(excerpt(tag.name)));
    }
    if (_position == _end)
        fail(u"the tag %1 has no end"_s.arg(excerpt(tag.name)));
    tag.isEmpty = _position[-1] == '/';
    ++_position;
    return tag;
}

bool VXPropertyListXMLReader::atClosingTag() const
{
    return startsWith("</");
}

void VXPropertyListXMLReader::closingTag(std::string_view name)
{
    if (_position == _end)
        fail(u"unexpected end of the text inside <%1>"_s.arg(QString::fromUtf8(name)));
    const QByteArrayView after = atClosingTag() ? rest().sliced(2) : QByteArrayView();
    if (!after.startsWith(name))
        fail(u"expected </%1>, found %2"_s.arg(QString::fromUtf8(name), excerpt(rest())));
    _position += 2 + qsizetype(name.size());
    skipSpace();
    if (_position == _end || *_position != '>')
        fail(u"the tag </%1> has no end"_s.arg(QString::fromUtf8(name)));
    ++_position;
}

QVariant VXPropertyListXMLReader::value(const Tag &tag, int depth)
{
    const std::string_view name = tag.name;
    if (name == "string")
        return VXPropertyListText(content(tag));
    if (name == "integer")
        return integer(trimmed(content(tag)));
    if (name == "true" || name == "false")
        return boolean(tag, name == "true");
    if (name == "dict")
        return dictionary(tag, depth);
    if (name == "array")
        return array(tag, depth);
    if (name == "real")
        return real(trimmed(content(tag)));
    if (name == "date")
        return date(trimmed(content(tag)));
    if (name == "data")
        return bytes(content(tag));
    fail(u"unknown element %1"_s.arg(excerpt(name)));
}

QVariant VXPropertyListXMLReader::array(const Tag &tag, int depth)
{
    if (depth > VXPropertyListMaximumDepth)
        fail(u"nested deeper than %1 levels"_s.arg(VXPropertyListMaximumDepth));
    QVariantList result;
    if (tag.isEmpty)
        return result;
    for (skipMiscellany(); !atClosingTag(); skipMiscellany())
        result.append(value(openingTag(), depth + 1));
    closingTag(tag.name);
    return result;
}

QVariant VXPropertyListXMLReader::dictionary(const Tag &tag, int depth)
{
    if (depth > VXPropertyListMaximumDepth)
        fail(u"nested deeper than %1 levels"_s.arg(VXPropertyListMaximumDepth));
    QVariantMap result;
    if (tag.isEmpty)
        return result;
    for (skipMiscellany(); !atClosingTag(); skipMiscellany()) {
        const QString name = key();
        skipMiscellany();
        if (atClosingTag())
            fail(u"the key \"%1\" has no value"_s.arg(name));
        result.insert(result.cend(), name, value(openingTag(), depth + 1)); // keys are mostly sorted
    }
    closingTag(tag.name);
    return result;
}

QVariant VXPropertyListXMLReader::boolean(const Tag &tag, bool value)
{
    if (!trimmed(content(tag)).isEmpty())
        fail(u"unexpected text in <%1>"_s.arg(QString::fromUtf8(tag.name)));
    return value;
}

QString VXPropertyListXMLReader::key()
{
    const Tag tag = openingTag();
    if (tag.name != "key")
        fail(u"expected <key>, found %1"_s.arg(excerpt(tag.name)));
    const QByteArrayView text = content(tag);
    if (const auto known = _keys.constFind(text); known != _keys.cend())
        return *known;
    QString result = VXPropertyListText(text);
    if (text.data() != _pieces.constData()) // only contents of the document stay in place
        _keys.insert(text, result);
    return result;
}

// The text of an element; the position is then after its closing tag. Valid until the next call.
QByteArrayView VXPropertyListXMLReader::content(const Tag &tag)
{
    if (tag.isEmpty)
        return "";
    const char *const start = _position;
    const char *const end = find(start, _end, '<');
    const QByteArrayView plain(start, end);
    if (!plain.contains('&') && !QByteArrayView(end, _end).startsWith("<!")) {
        _position = end;
        closingTag(tag.name);
        return plain;
    }
    appendPieces();
    closingTag(tag.name);
    return _pieces;
}

void VXPropertyListXMLReader::appendPieces()
{
    _pieces.resize(0);
    for (;;) {
        const char *const end = find(_position, _end, '<');
        appendUnescaped({_position, end});
        _position = end;
        if (startsWith("<!--")) {
            skipPast("-->", u"a comment"_s);
        } else if (startsWith("<![CDATA[")) {
            const char *const start = _position + qstrlen("<![CDATA[");
            skipPast("]]>", u"a CDATA section"_s);
            _pieces.append(QByteArrayView(start, _position - qstrlen("]]>")));
        } else {
            return;
        }
    }
}

void VXPropertyListXMLReader::appendUnescaped(QByteArrayView piece)
{
    for (const char *from = piece.begin();;) {
        const char *const ampersand = find(from, piece.end(), '&');
        _pieces.append(QByteArrayView(from, ampersand));
        if (ampersand == piece.end())
            return;
        _position = ampersand;
        constexpr qsizetype longest = 12; // so that a single "&" does not search the whole text
        const QByteArrayView name(ampersand + 1,
                                  ampersand + 1 + std::min<qsizetype>(longest, piece.end() - ampersand - 1));
        const qsizetype end = name.indexOf(';');
        if (end < 0)
            fail(u"\"&\" without an entity"_s);
        appendEntity(name.first(end));
        from = name.begin() + end + 1;
    }
}

void VXPropertyListXMLReader::appendEntity(QByteArrayView name)
{
    static constexpr std::pair<const char *, char> entities[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto &[known, character] : entities) {
        if (name == QByteArrayView(known)) {
            _pieces.append(character);
            return;
        }
    }
    const bool isHexadecimal = name.startsWith("#x");
    const auto code = name.startsWith('#')
                          ? parsed<quint32>(name.sliced(isHexadecimal ? 2 : 1), isHexadecimal ? 16 : 10)
                          : std::nullopt;
    if (!code || !isXMLCharacter(*code))
        fail(u"unknown entity \"&%1;\""_s.arg(QString::fromUtf8(name)));
    const char32_t character = *code;
    _pieces.append(QString::fromUcs4(&character, 1).toUtf8());
}

QVariant VXPropertyListXMLReader::integer(QByteArrayView digits) const
{
    const bool isNegative = digits.startsWith('-');
    QByteArrayView unsignedDigits = isNegative || digits.startsWith('+') ? digits.sliced(1) : digits;
    const bool isHexadecimal = unsignedDigits.startsWith("0x") || unsignedDigits.startsWith("0X");
    if (isHexadecimal)
        unsignedDigits = unsignedDigits.sliced(2);
    const auto magnitude = parsed<quint64>(unsignedDigits, isHexadecimal ? 16 : 10);
    const quint64 largest = quint64(std::numeric_limits<qint64>::max()) + (isNegative ? 1 : 0);
    if (!magnitude || *magnitude > largest)
        fail(u"%1 is not an integer of 64 bits"_s.arg(excerpt(digits)));
    return qlonglong(isNegative ? 0 - *magnitude : *magnitude);
}

QVariant VXPropertyListXMLReader::real(QByteArrayView digits) const
{
    // from_chars ignores the locale, and parses "nan", "inf" and "infinity".
    const bool hasPlus = digits.startsWith('+') && !digits.startsWith("+-");
    const auto number = parsed<double>(hasPlus ? digits.sliced(1) : digits);
    if (!number)
        fail(u"%1 is not a real number"_s.arg(excerpt(digits)));
    return *number;
}

// ISO 8601 in the form used by property lists: 2009-02-13T23:31:30Z.
QVariant VXPropertyListXMLReader::date(QByteArrayView text) const
{
    constexpr qsizetype tail = sizeof("-02-13T23:31:30Z") - 1;
    const qsizetype yearSize = text.size() - tail;
    const QByteArrayView rest = yearSize >= 1 && yearSize <= 4 ? text.sliced(yearSize) : QByteArrayView();
    if (rest.isEmpty() || rest[0] != '-' || rest[3] != '-' || rest[6] != 'T' || rest[9] != ':' || rest[12] != ':' ||
        rest[15] != 'Z')
        fail(u"%1 is not a date"_s.arg(excerpt(text)));
    const auto field = [](QByteArrayView digits) { return parsedDigits(digits).value_or(-1); };
    const QDate day(field(text.first(yearSize)), field(rest.sliced(1, 2)), field(rest.sliced(4, 2)));
    const QTime time(field(rest.sliced(7, 2)), field(rest.sliced(10, 2)), field(rest.sliced(13, 2)));
    if (day.year() < 1 || !day.isValid() || !time.isValid())
        fail(u"%1 is not a date"_s.arg(excerpt(text)));
    return QDateTime(day, time, Qt::UTC);
}

QVariant VXPropertyListXMLReader::bytes(QByteArrayView base64) const
{
    QByteArray packed(base64.size(), Qt::Uninitialized);
    packed.truncate(std::copy_if(base64.begin(), base64.end(), packed.begin(), [](char c) { return !isSpace(c); }) -
                    packed.begin());
    if (packed.isEmpty())
        return QByteArray("");
    auto decoded = QByteArray::fromBase64Encoding(std::move(packed), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        fail(u"the data is not valid Base64"_s);
    return *decoded;
}
