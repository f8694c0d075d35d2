#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** What somebody searches for: words, without repetitions, and perhaps the digits of a phone number. */
class VXSearchTerms
{
public:
    explicit VXSearchTerms(const QString &text);

    /** Why the text is too long to be searched for; null when it is not. */
    const QString &problem() const { return _problem; }
    const QStringList &words() const { return _words; }
    /** The digits in the form used for look-ups; null when the text is no phone number, or too short a part of one. */
    const QString &digits() const { return _digits; }

    /** The end of a phone number that stands among words. */
    struct NumberEnd
    {
        QString digits;
        QString word; // which may match instead; null for none
    };
    /** The text taken as words and ends of numbers, all of which have to be found; there is at least one end. */
    struct Reading
    {
        QStringList words;
        QList<NumberEnd> ends;
    };
    /** Further readings, besides the words and the digits of the whole text. */
    const QList<Reading> &readings() const { return _readings; }

    /**
     * A text in the form in which texts are compared, up to case: letters without their marks; letters that have a mark
     * built in ("ø", "ß") as people type them without it; digits of any script as ASCII digits; Arabic letters that
     * keyboards mix up as one letter; and, in scripts that put no blanks between words, each letter as a word of its
     * own. ASCII texts are returned unchanged.
     */
    static QString folded(const QString &text);
    /** The folded text as the index stores it: followed by its words with apostrophes or hyphens, repeated without
     *  these ("O'Neill", "ONeill"). */
    static QString indexed(const QString &text);
    /** The text with decimal digits of other scripts replaced by ASCII digits. */
    static QString withPlainDigits(const QString &text);

    enum class Match { Whole, Prefix };
    enum class Spelling { AsTyped, WithUmlauts }; // the latter: "mueller" for "müller" too
    /** The FTS5 expression for texts that have all of these words. `kind`: null for all kinds. */
    static QString expression(const QStringList &words, Match match, Spelling spelling, const QString &kind = {});
    /** Whether the words may be spelled so. */
    bool mayHaveUmlauts() const;

private:
    void read(const QString &text);

    QString _problem;
    QStringList _words;
    QString _digits;
    QList<Reading> _readings;
};
