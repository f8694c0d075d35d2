#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <optional>

/** Turns values into fields of comma-separated values (RFC 4180), and a header back into columns. */
struct VXCSVFormat
{
    char separator = ',';
    QByteArray lineEnd = QByteArrayLiteral("\r\n");
    /** Spreadsheet programs treat text that begins with = + - @, a tab or a carriage return as a formula. Such text
     *  gets a leading apostrophe, unless it is a number ("-5") or a phone number ("+44 20 7946 0000"). */
    bool neutralisesFormulas = true;
    bool writesUTC = false;

    /** The allowed separators. */
    static constexpr QByteArrayView separators{",;\t|"};

    /** Appends a field, quoted if any of the separators a reader may assume requires it. */
    void appendField(QByteArray &line, const QVariant &value) const;

    /** The first record of a file, without a byte order mark and without the apostrophes before formulas. None if it
     *  does not end within the bytes. */
    std::optional<QStringList> header(const QByteArray &bytes) const;
    /** The file with more columns at the end of its header, and empty fields for them in its lines. */
    QByteArray widened(const QByteArray &file, const QStringList &columns) const;
    /** The line end that a file uses, judged by its first one. */
    static QByteArray lineEndOf(const QByteArray &bytes);
};
