#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QVariant>

#include <string_view>

/**
 * Reads the XML form of property lists, from UTF-8, in linear time. One object reads one document.
 *
 * Not left to libplist 2.2, which silently misreads invalid input: "010" as eight, text that is no date as the year
 * 1900, data cut off at a comment. It also reports no line numbers, has no dates after 2069, and exhausts the stack on
 * deep nesting.
 */
class VXPropertyListXMLReader
{
public:
    /** The bytes must outlive the reader. */
    explicit VXPropertyListXMLReader(QByteArrayView text);

    /** The document's value; throws VXPropertyListFault, whose reason begins with the line. */
    QVariant read();

private:
    struct Tag
    {
        std::string_view name;
        bool isEmpty = false; // <name/>
    };

    [[noreturn]] void fail(const QString &reason) const;
    bool startsWith(QByteArrayView token) const { return rest().startsWith(token); }
    QByteArrayView rest() const { return {_position, _end}; }
    void skipSpace();
    void skipPast(QByteArrayView token, const QString &what);
    void skipMiscellany();
    void skipDocumentType();
    void checkText() const;

    Tag openingTag();
    bool atClosingTag() const;
    void closingTag(std::string_view name);
    QVariant value(const Tag &tag, int depth);
    QVariant array(const Tag &tag, int depth);
    QVariant dictionary(const Tag &tag, int depth);
    QVariant boolean(const Tag &tag, bool value);
    QString key();
    QByteArrayView content(const Tag &tag);
    void appendPieces();
    void appendUnescaped(QByteArrayView piece);
    void appendEntity(QByteArrayView name);
    QVariant integer(QByteArrayView digits) const;
    QVariant real(QByteArrayView digits) const;
    QVariant date(QByteArrayView text) const;
    QVariant bytes(QByteArrayView base64) const;

    const char *const _begin;
    const char *_position;
    const char *const _end;
    QByteArray _pieces;                   // content that is not contiguous in the document
    QHash<QByteArrayView, QString> _keys; // the same few keys occur again and again, and share their texts
};
