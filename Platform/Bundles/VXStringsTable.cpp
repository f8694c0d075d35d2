#include "VXStringsTable.h"

#include "VXPropertyList.h"
#include "VXRegularFile.h"

#include <QtCore/QStringConverter>

#include <algorithm>
#include <stdexcept>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

class Fault : public std::runtime_error
{
public:
    Fault(qsizetype line, const QString &reason)
        : std::runtime_error(u"line %1: %2"_s.arg(line).arg(reason).toStdString())
    {
    }
};

VXError corrupt(const QString &reason)
{
    return VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"Not a strings table: %1."_s.arg(reason));
}

bool isSpace(QChar c)
{
    return c.isSpace() || c == QChar::ByteOrderMark;
}

// The characters of keys and values without quotation marks.
bool isWordCharacter(QChar c)
{
    return (c.unicode() < 0x80 && c.isLetterOrNumber()) || u"_$./:-"_s.contains(c);
}

// The value of a digit up to "f"; 16 for anything else.
int digit(QChar c)
{
    const char16_t code = c.unicode();
    if (code >= u'0' && code <= u'9')
        return code - u'0';
    const char16_t lower = code | 0x20;
    return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : 16;
}

// Parses the text form: entries up to the end, or an error with its line.
class Parser
{
public:
    explicit Parser(QStringView text) : _text(text) {}

    VXStringsTable::Table parse()
    {
        VXStringsTable::Table table;
        for (skipSpace(); !atEnd(); skipSpace()) {
            const QString key = text(u"a key"_s);
            skipSpace();
            QString value = key;
            if (skip(u'=')) {
                skipSpace();
                value = text(u"a value"_s);
                skipSpace();
            }
            if (!skip(u';'))
                fail(u"expected \";\" after the entry \"%1\""_s.arg(key.left(40)));
            table.insert(key, value);
        }
        return table;
    }

private:
    [[noreturn]] void fail(const QString &reason) const { failAt(_position, reason); }

    [[noreturn]] void failAt(qsizetype position, const QString &reason) const
    {
        throw Fault(_text.first(position).count(u'\n') + 1, reason);
    }

    bool atEnd() const { return _position == _text.size(); }
    QChar current() const { return _text[_position]; }

    bool skip(QChar c)
    {
        const bool found = !atEnd() && current() == c;
        _position += found ? 1 : 0;
        return found;
    }

    void skipSpace()
    {
        for (;;) {
            while (!atEnd() && isSpace(current()))
                ++_position;
            const QStringView rest = _text.sliced(_position);
            if (rest.startsWith(u"//"))
                skipPast(u"\n", true);
            else if (rest.startsWith(u"/*"))
                skipPast(u"*/", false);
            else
                return;
        }
    }

    void skipPast(QStringView token, bool orEnd)
    {
        const qsizetype found = _text.indexOf(token, _position + 2);
        if (found < 0 && !orEnd)
            fail(u"a comment has no end"_s);
        _position = found < 0 ? _text.size() : found + token.size();
    }

    QString text(const QString &what)
    {
        if (!atEnd() && (current() == u'"' || current() == u'\''))
            return quotedText();
        const qsizetype start = _position;
        while (!atEnd() && isWordCharacter(current()) && !startsComment())
            ++_position;
        if (_position == start)
            fail(u"expected %1, found %2"_s.arg(what, atEnd() ? u"the end"_s : excerpt(start)));
        return _text.sliced(start, _position - start).toString();
    }

    QString excerpt(qsizetype start) const { return u'"' + _text.mid(start, 20).toString() + u'"'; }

    bool startsComment() const
    {
        const QStringView rest = _text.sliced(_position);
        return rest.startsWith(u"//") || rest.startsWith(u"/*");
    }

    QString quotedText()
    {
        const qsizetype start = _position;
        const QChar quote = current();
        QString result = u""_s;
        for (++_position; !atEnd() && current() != quote;) {
            const qsizetype from = _position;
            while (!atEnd() && current() != quote && current() != u'\\')
                ++_position;
            result += _text.sliced(from, _position - from);
            if (skip(u'\\'))
                result += escaped();
        }
        if (!skip(quote))
            failAt(start, u"a text has no end"_s);
        if (!result.isValidUtf16() || result.contains(QChar::Null))
            failAt(start, u"a text with an escape that is no character"_s);
        return result;
    }

    QChar escaped()
    {
        if (atEnd())
            return {}; // the text is unterminated, which the caller reports
        if (digit(current()) < 8)
            return codeUnit(8, 3);
        const QChar c = _text[_position++];
        if (c == u'U' || c == u'u')
            return codeUnit(16, 4);
        static constexpr std::u16string_view letters = u"abfnrtv";
        static constexpr std::u16string_view meanings = u"\a\b\f\n\r\t\v";
        const size_t known = letters.find(c.unicode());
        return known == std::u16string_view::npos ? c : QChar(meanings[known]);
    }

    // A UTF-16 unit of at most `most` digits.
    QChar codeUnit(int base, qsizetype most)
    {
        const qsizetype start = _position;
        int unit = 0;
        for (; !atEnd() && _position < start + most && digit(current()) < base; ++_position)
            unit = unit * base + digit(current());
        if (_position == start)
            fail(u"an escape without digits"_s);
        return QChar(unit);
    }

    const QStringView _text;
    qsizetype _position = 0;
};

// The encoding: by byte order mark, or else UTF-16 if one of the first two bytes is zero, as in any UTF-16 table that
// begins with an ASCII character.
QStringConverter::Encoding encodingOf(const QByteArray &data)
{
    if (const auto mark = QStringConverter::encodingForData(data))
        return *mark;
    if (data.size() >= 2 && (data[0] == 0) != (data[1] == 0))
        return data[0] == 0 ? QStringConverter::Utf16BE : QStringConverter::Utf16LE;
    return QStringConverter::Utf8;
}

// The first invalid line; no sequence extends over a line end.
template <class Text, class Character>
qsizetype firstInvalidLine(Text text, Character lineEnd, bool (*isValid)(Text))
{
    for (qsizetype number = 1, start = 0;; ++number) {
        const qsizetype end = text.indexOf(lineEnd, start);
        if (end < 0 || !isValid(text.sliced(start, end - start)))
            return number;
        start = end + 1;
    }
}

QString decoded(const QByteArray &data)
{
    const QStringConverter::Encoding encoding = encodingOf(data);
    if (encoding == QStringConverter::Utf8 && !data.isValidUtf8())
        throw Fault(firstInvalidLine(
                        QByteArrayView(data), '\n', +[](QByteArrayView line) { return line.isValidUtf8(); }),
                    u"the text is not valid UTF-8"_s);
    QStringDecoder decode(encoding, QStringConverter::Flag::Stateless);
    QString text = decode(data);
    if (decode.hasError() || !text.isValidUtf16())
        throw Fault(firstInvalidLine(
                        QStringView(text), u'\n', +[](QStringView line) { return line.isValidUtf16(); }),
                    u"the text is not valid UTF-16"_s);
    return text;
}

bool isPropertyList(const QByteArray &data)
{
    if (data.startsWith("bplist"))
        return true;
    // In any encoding: the first byte that is neither part of a byte order mark, nor zero, nor space.
    const auto first = std::find_if(data.begin(), data.end(), [](char c) {
        return !QByteArrayView("\xef\xbb\xbf\xfe\xff\0 \t\r\n", 10).contains(c);
    });
    return first != data.end() && *first == '<';
}

std::optional<VXStringsTable::Table> fromPropertyList(const QByteArray &data, VXError *error)
{
    const QVariant value = VXPropertyList::fromData(data, error);
    if (!value.isValid())
        return std::nullopt;
    if (value.metaType() != QMetaType::fromType<QVariantMap>()) {
        VXSetError(error, corrupt(u"the property list is no dictionary"_s));
        return std::nullopt;
    }
    VXStringsTable::Table table;
    const QVariantMap entries = value.toMap();
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        if (entry->metaType() != QMetaType::fromType<QString>()) {
            VXSetError(error, corrupt(u"the value of \"%1\" is no text"_s.arg(entry.key().left(40))));
            return std::nullopt;
        }
        table.insert(entry.key(), entry->toString());
    }
    return table;
}

} // namespace

std::optional<VXStringsTable::Table> VXStringsTable::fromData(const QByteArray &data, VXError *error)
{
    if (isPropertyList(data))
        return fromPropertyList(data, error);
    try {
        return Parser(decoded(data)).parse();
    } catch (const Fault &fault) {
        VXSetError(error, corrupt(QString::fromUtf8(fault.what())));
        return std::nullopt;
    }
}

std::optional<VXStringsTable::Table> VXStringsTable::fromFile(const QString &path, VXError *error)
{
    QString problem;
    const QByteArray data = VXRegularFile::read(path, &problem);
    if (data.isNull()) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileRead, u"Unable to read strings table."_s,
                                                 problem, path));
        return std::nullopt;
    }
    VXError reason;
    auto table = fromData(data, &reason);
    if (!table)
        VXSetError(error,
                   VXError::platformError(VXPlatformErrorCode::FileCorrupt, reason.localizedDescription(), {}, path));
    return table;
}
