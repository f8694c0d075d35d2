#include "VXPredicateScanner.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

bool isWordStart(QChar c)
{
    return c.isLetter() || u"_#@$"_s.contains(c);
}

bool isWordPart(QChar c)
{
    return c.isLetterOrNumber() || c == u'_';
}

} // namespace

QChar VXPredicateScanner::peek(qsizetype ahead) const
{
    return _at + ahead < _source.size() ? _source[_at + ahead] : QChar();
}

VXPredicateToken VXPredicateScanner::next()
{
    while (peek().isSpace())
        ++_at;
    const qsizetype start = _at;
    const QChar c = peek();
    if (_at >= _source.size())
        return {VXPredicateToken::Kind::End, u"the end"_s, start};
    if (isWordStart(c)) {
        do {
            ++_at;
        } while (isWordPart(peek()));
        return {VXPredicateToken::Kind::Word, _source.sliced(start, _at - start), start};
    }
    if (c == u'"' || c == u'\'')
        return text(c);
    const QChar unsignedStart = c == u'-' ? peek(1) : c;
    if (unsignedStart.isDigit() || (unsignedStart == u'.' && peek(c == u'-' ? 2 : 1).isDigit()))
        return number();
    return mark();
}

VXPredicateToken VXPredicateScanner::text(QChar quote)
{
    const qsizetype start = _at;
    QString result = u""_s;
    for (++_at; _at < _source.size(); ++_at) {
        QChar c = _source[_at];
        if (c == quote) {
            ++_at;
            return {VXPredicateToken::Kind::Text, result, start};
        }
        if (c == u'\\' && _at + 1 < _source.size()) {
            c = _source[++_at];
            c = c == u'n' ? u'\n' : c == u't' ? u'\t' : c;
        }
        result += c;
    }
    return {VXPredicateToken::Kind::Bad, u"the text does not end"_s, start};
}

// A sign, digits with an optional point, an exponent.
VXPredicateToken VXPredicateScanner::number()
{
    const qsizetype start = _at;
    const auto skipDigits = [this] {
        while (peek() >= u'0' && peek() <= u'9')
            ++_at;
    };
    if (peek() == u'-')
        ++_at;
    const qsizetype first = _at;
    skipDigits();
    if (peek() == u'.') {
        ++_at;
        skipDigits();
    }
    const bool hasDigits = _at > first + (_source[first] == u'.' ? 1 : 0);
    if (!hasDigits) {
        _at = start + 1;
        return {VXPredicateToken::Kind::Bad, u"this is no number"_s, start};
    }
    if (peek() == u'e' || peek() == u'E') {
        const qsizetype sign = peek(1) == u'-' || peek(1) == u'+' ? 1 : 0;
        if (const QChar digit = peek(1 + sign); digit >= u'0' && digit <= u'9') {
            _at += 1 + sign;
            skipDigits();
        }
    }
    return {VXPredicateToken::Kind::Number, _source.sliced(start, _at - start), start};
}

VXPredicateToken VXPredicateScanner::mark()
{
    static constexpr std::array marks = {"=="_L1, "=<"_L1, "=>"_L1, "<="_L1, ">="_L1, "!="_L1, "<>"_L1, "&&"_L1,
                                         "||"_L1, "%@"_L1, "%K"_L1, "="_L1,  "<"_L1,  ">"_L1,  "!"_L1,  "("_L1,
                                         ")"_L1,  "{"_L1,  "}"_L1,  "["_L1,  "]"_L1,  ","_L1,  "."_L1};
    const qsizetype start = _at;
    for (const QLatin1StringView mark : marks) {
        if (QStringView(_source).sliced(_at).startsWith(mark)) {
            _at += mark.size();
            return {VXPredicateToken::Kind::Mark, mark, start};
        }
    }
    return {VXPredicateToken::Kind::Bad, u"\"%1\" has no meaning here"_s.arg(_source[_at++]), start};
}
