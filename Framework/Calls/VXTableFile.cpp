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
        // What spreadsheets would take for a formula was written with an apostrophe before it.
        if (field.size() > 1 && field.startsWith(u'\'') && u"=+-@\t\r"_s.contains(field[1]))
            field.remove(0, 1);
        fields.append(field);
        const bool isEndOfRow = isAtEnd() || _text[_at] == u'\n';
        ++_at;
        if (isEndOfRow)
            break;
        if (isAtEnd()) // behind a last separator
            fields.append(QString());
    }
    ++_line;
    return fields;
}

// Without an end nothing is taken: the mark is a part of the text, and the rows below are rows.
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
