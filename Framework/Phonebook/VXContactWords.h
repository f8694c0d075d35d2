#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QByteArray>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** What contacts are sorted by: the last name before the first, else the nickname, else the company; case and diacritics do
 * not count. Empty for none. */
[[nodiscard]] VX_EXPORT QString VXContactSortName(const QString &firstName, const QString &lastName,
                                                  const QString &nickname, const QString &company);

/**
 * The words by which people find a contact while they type: the beginnings are looked up in the index "key" of the entity
 * "VXSearchWord". Any thread, a contact on that of its context.
 */
class VX_EXPORT VXContactWords
{
public:
    /** Of what a word is part; the best first. */
    enum class Kind : char { Name = '1', Company = '2', Email = '3', Number = '4', Other = '5' };

    /** Grows when contacts get words that those of an earlier program lack: then all are made anew. */
    static constexpr int generation = 2; // 1 was not told

    /** The keys of a "VXPerson", of its names as a search has them, company, job title, groups and towns, e-mail addresses and numbers:
     *  UTF-8 of the word, a zero, the kind; and those of its former UIDs. */
    static QSet<QByteArray> keysOf(const VXManagedObject &person);
    /** Under which a person that was merged with that one is found: no word begins so. */
    static QByteArray keyOfFormerUID(const QString &uid) { return '\xff' + uid.toUtf8(); }
    /** What was typed, as words to be looked for. A phone number is one word. Empty for blanks. */
    static QStringList typedWords(const QString &text);
    /** The beginnings under which a typed word is looked for: itself; of a phone number without leading zeros too, and of a word with
     *  apostrophes or hyphens without those. */
    static QStringList beginnings(const QString &word);

    /** The words of a text of that kind, as people type their letters: each to the end of what blanks enclose, in scripts without
     *  blanks from each letter on. */
    static QStringList wordsOf(const QString &text, Kind kind);
    /** Of a key. */
    static Kind kindOf(const QByteArray &key) { return static_cast<Kind>(key.back()); }
};
