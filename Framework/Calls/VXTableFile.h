#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Reads a table of separated values (RFC 4180, UTF-8) row by row; its first line determines whether commas, semicolons
 * or tabs separate them.
 */
class VXTableFile
{
public:
    explicit VXTableFile(const QByteArray &bytes);

    bool isAtEnd() const { return _at >= _text.size(); }
    /** The line number of the next row, from 1. */
    qsizetype line() const { return _line; }
    /** The fields of the next row; empty at the end. */
    QStringList next();
    /** False when the last row that was read has an unterminated quotation mark, which was then taken for a plain
     *  character. */
    bool isWhole() const { return _isWhole; }

private:
    QString quotedField();

    const QString _text;
    QChar _separator = u',';
    qsizetype _at = 0;
    qsizetype _line = 1;
    bool _isWhole = true;
};
