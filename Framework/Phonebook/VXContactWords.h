#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QByteArray>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The text that contacts are sorted by: last name and first name, or else the nickname, or else the company; without
 * case and diacritics. Empty if there is none.
 */
[[nodiscard]] VX_EXPORT QString VXContactSortName(const QString &firstName, const QString &lastName,
                                                  const QString &nickname, const QString &company);

/**
 * The words by which people find a contact while they type: their prefixes are looked up in the index "key" of the
 * entity "VXSearchWord". Any thread; a contact on that of its context.
 */
class VX_EXPORT VXContactWords
{
public:
    /** What a word belongs to; the best kind comes first. */
    enum class Kind : char { Name = '1', Company = '2', Email = '3', Number = '4' };

    /** The keys of a "VXPerson" with its numbers and addresses: the word in UTF-8, a zero byte, the kind; also those of
     *  its former UIDs. */
    static QSet<QByteArray> keysOf(const VXManagedObject &person);
    /** The key for a contact that was merged into another. No word begins with this byte. */
    static QByteArray keyOfFormerUID(const QString &uid) { return '\xff' + uid.toUtf8(); }
    /** Splits what was typed into the words to look for. A phone number is one word. Empty for blanks. */
    static QStringList typedWords(const QString &text);
    /** The prefixes to look for: the word itself; for a phone number also without leading zeros. */
    static QStringList beginnings(const QString &word);

    /** The words of a text of that kind, ignoring case and diacritics: from each start of a word to the next blank. */
    static QStringList wordsOf(const QString &text, Kind kind);
    /** The kind in a key. */
    static Kind kindOf(const QByteArray &key) { return static_cast<Kind>(key.back()); }
};
