#include "VXModelScanner.h"

using namespace Qt::StringLiterals;

namespace {

bool isWordStart(QChar c)
{
    return c.isLetter() || c == u'_';
}

// Words may contain dashes, because of "property-list".
bool isWordPart(QChar c)
{
    return isWordStart(c) || c.isDigit() || c == u'-';
}

} // namespace

QChar VXModelScanner::peek(qsizetype ahead) const
{
    return _at + ahead < _source.size() ? _source[_at + ahead] : QChar();
}

template <class Predicate>
QString VXModelScanner::takeWhile(Predicate matches)
{
    const qsizetype start = _at;
    while (_at < _source.size() && matches(_source[_at]))
        ++_at;
    return _source.sliced(start, _at - start).toString();
}

bool VXModelScanner::skipComment()
{
    if (peek() != u'/' || (peek(1) != u'/' && peek(1) != u'*'))
        return false;
    const bool isLine = peek(1) == u'/';
    const qsizetype end = isLine ? _source.indexOf(u'\n', _at) : _source.indexOf("*/"_L1, _at + 2);
    const qsizetype next = end < 0 ? _source.size() : isLine ? end : end + 2;
    _line += int(_source.sliced(_at, next - _at).count(u'\n'));
    _at = next;
    return true;
}

void VXModelScanner::skipSpace()
{
    while (_at < _source.size()) {
        if (peek().isSpace())
            _line += _source[_at++] == u'\n' ? 1 : 0;
        else if (!skipComment())
            return;
    }
}

VXModelToken VXModelScanner::text(int line)
{
    QString result;
    for (++_at; _at < _source.size() && peek() != u'\n'; ++_at) {
        const QChar c = peek();
        if (c == u'"') {
            ++_at;
            return {VXModelToken::Kind::Text, result.isNull() ? u""_s : result, line};
        }
        if (c == u'\\') {
            ++_at;
            const QChar escaped = peek();
            result += escaped == u'n' ? u'\n' : escaped == u't' ? u'\t' : escaped;
        } else {
            result += c;
        }
    }
    return {VXModelToken::Kind::Bad, u"the text does not end on its line"_s, line};
}

VXModelToken VXModelScanner::next()
{
    skipSpace();
    const int line = _line;
    if (_at >= _source.size())
        return {VXModelToken::Kind::End, u"the end"_s, line};
    const QChar c = peek();
    if (isWordStart(c))
        return {VXModelToken::Kind::Word, takeWhile(isWordPart), line};
    if (c.isDigit() || ((c == u'-' || c == u'+') && peek(1).isDigit())) {
        ++_at;
        const auto isNumberPart = [](QChar part) {
            return part.isDigit() || part == u'.' || part == u'e' || part == u'E' || part == u'-' || part == u'+';
        };
        return {VXModelToken::Kind::Number, c + takeWhile(isNumberPart), line};
    }
    if (c == u'"')
        return text(line);
    ++_at;
    if (c == u'[' && peek() == u']') {
        ++_at;
        return {VXModelToken::Kind::Mark, u"[]"_s, line};
    }
    if (u"{}():;=,"_s.contains(c))
        return {VXModelToken::Kind::Mark, c, line};
    return {VXModelToken::Kind::Bad, u"\"%1\" has no meaning here"_s.arg(c), line};
}
