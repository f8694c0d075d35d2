#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <optional>

/** How values become fields of comma-separated values (RFC 4180), and a header becomes columns again. */
struct VXCSVFormat
{
    char separator = ',';
    QByteArray lineEnd = QByteArrayLiteral("\r\n");
    /** Spreadsheet programs take a text for a formula that begins with one of = + - @, a tab or a carriage return: such a
     * text gets an apostrophe in front of it, unless it is a number ("-5") or a phone number ("+44 20 7946 0000"). */
    bool neutralisesFormulas = true;
    bool writesUTC = false;

    /** What may be a separator. */
    static constexpr QByteArrayView separators{",;\t|"};

    /** A field, quoted where it must be: whichever separator a reader goes by. */
    void appendField(QByteArray &line, const QVariant &value) const;

    /** The first record of a file, without a byte order mark and the apostrophes before formulas. Empty when it has no end within the bytes. */
    std::optional<QStringList> header(const QByteArray &bytes) const;
    /** The file with further columns at the end of its header, and empty fields in its lines. */
    QByteArray widened(const QByteArray &file, const QStringList &columns) const;
    /** The line end that a file uses, judged by its first one. */
    static QByteArray lineEndOf(const QByteArray &bytes);
};
