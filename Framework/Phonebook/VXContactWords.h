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
    /** Of what a word is part; the best first. */
    enum class Kind : char { Name = '1', Company = '2', Email = '3', Number = '4', Other = '5' };

    /** Grows when contacts get words, or numbers search texts, that those of an earlier program lack: then all are made anew. */
    static constexpr int generation = 4; // 1 was not told, and until 3 of the store only

    /** The keys of a "VXPerson", of its names as a search has them, company, job title, roles, groups and towns, e-mail addresses and numbers:
     *  UTF-8 of the word, a zero, the kind; those of its former UIDs; and that of the generation. */
    static QSet<QByteArray> keysOf(const VXManagedObject &person);
    /** Which each contact has whose words this generation made: an earlier program takes it away from whom it changes. No word begins
     *  with this byte. */
    static QByteArray keyOfGeneration() { return '\xfe' + QByteArray::number(generation); }
    /** The key for a contact that was merged into another. No word begins with this byte. */
    static QByteArray keyOfFormerUID(const QString &uid) { return '\xff' + uid.toUtf8(); }
    /** Splits what was typed into the words to look for. A phone number is one word, its digits, behind a "+" if it has one. Empty for
     *  blanks. */
    static QStringList typedWords(const QString &text);
    /** The beginnings of keys under which a typed word is looked for: itself; of a phone number without leading zeros too, and, to its
     *  end, as look-ups compare it; of a word with apostrophes or hyphens without those; and
     *  of one with "ue" for "ü" (VXTypedLetters::withoutDigraphs), last, as the other letters. */
    static QStringList beginnings(const QString &word);

    /** The words of a text of that kind, as people type their letters: each to the end of what blanks enclose, in scripts without
     *  blanks from each letter on. */
    static QStringList wordsOf(const QString &text, Kind kind);
    /** The kind in a key. */
    static Kind kindOf(const QByteArray &key) { return static_cast<Kind>(key.back()); }
};
