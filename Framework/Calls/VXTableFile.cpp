#include "VXTableFile.h"

using namespace Qt::StringLiterals;

VXTableFile::VXTableFile(const QByteArray &bytes)
    : _text(QString::fromUtf8(bytes.startsWith("\xef\xbb\xbf") ? bytes.sliced(3) : bytes))
{
    const QStringView first = QStringView(_text).left(_text.indexOf(u'\n'));
    for (const QChar separator : {u';', u'\t'}) {
        if (first.count(separator) > first.count(_separator))
            _separator = separator;
    }
}

QStringList VXTableFile::next()
{
    QStringList fields;
    _isWhole = true;
    while (!isAtEnd()) {
        QString field;
        if (_text[_at] == u'"')
            field = quotedField();
        while (!isAtEnd() && _text[_at] != _separator && _text[_at] != u'\n')
            field += _text[_at++];
        if (field.endsWith(u'\r'))
            field.chop(1);
        // An apostrophe protects text that spreadsheets would take for a formula.
        if (field.size() > 1 && field.startsWith(u'\'') && u"=+-@\t\r"_s.contains(field[1]))
            field.remove(0, 1);
        fields.append(field);
        const bool isEndOfRow = isAtEnd() || _text[_at] == u'\n';
        ++_at;
        if (isEndOfRow)
            break;
        if (isAtEnd()) // after a trailing separator
            fields.append(QString());
    }
    ++_line;
    return fields;
}

// Reads nothing if the closing mark is missing: then the quotation mark is part of the text, and the rows below are
// rows.
QString VXTableFile::quotedField()
{
    QString field;
    qsizetype lines = 0;
    qsizetype at = _at + 1;
    for (; at < _text.size(); ++at) {
        if (_text[at] == u'"' && (++at >= _text.size() || _text[at] != u'"')) {
            _at = at;
            _line += lines;
            return field;
        }
        lines += _text[at] == u'\n' ? 1 : 0;
        field += _text[at];
    }
    _isWhole = false;
    return {};
}
