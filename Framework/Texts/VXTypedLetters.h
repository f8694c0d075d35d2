#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Letters as people type them, so that whoever searches finds the same: the index of all that is searched, and the words of
 * contacts. Any thread.
 */
class VXTypedLetters
{
public:
    /**
     * Without the marks of letters, letters that have a mark built in as they are typed without ("ø", "ß"), digits of any script as
     * ASCII has them, Arabic letters that keyboards mix up as one; case folded but in a text that is all ASCII, which comes back as it is.
     */
    static QString folded(const QString &text);
    static bool isASCII(const QString &text);

    /** Of a folded word with apostrophes or hyphens between letters the same without: "oneill" for "o'neill". Null for others. */
    static QString withoutJoints(const QString &word);
    /** Those of a folded text. */
    static QStringList wordsWithoutJoints(const QString &text);
    /** Of a folded word with "ae", "oe" or "ue" for umlauts, as people write them where they have none, the same with the umlauts
     *  folded: "muller" for "mueller". Null for others, and while nothing is typed behind the "e". */
    static QString withoutDigraphs(const QString &word);
    /** Whether it is of a script whose words have no blanks between them: each letter may begin one. */
    static bool isUnspaced(char32_t letter);

    VXTypedLetters() = delete;
};
