#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** Reads a table of separated values (RFC 4180, UTF-8) row by row; its first line tells whether commas, semicolons or tabs
 * separate. */
class VXTableFile
{
public:
    explicit VXTableFile(const QByteArray &bytes);

    bool isAtEnd() const { return _at >= _text.size(); }
    /** Of the row that is next, from 1. */
    qsizetype line() const { return _line; }
    /** The fields of the next row; empty at the end. */
    QStringList next();
    /** False when the row read last has a quotation mark without an end, which was then taken for a plain one. */
    bool isWhole() const { return _isWhole; }

private:
    QString quotedField();

    const QString _text;
    QChar _separator = u',';
    qsizetype _at = 0;
    qsizetype _line = 1;
    bool _isWhole = true;
};
