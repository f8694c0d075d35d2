#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** What somebody searches for: words, each of them once, and perhaps the digits of a phone number. */
class VXSearchTerms
{
public:
    explicit VXSearchTerms(const QString &text);

    /** Why it is more than can be searched for; null when it is not. */
    const QString &problem() const { return _problem; }
    const QStringList &words() const { return _words; }
    /** In the form for look-ups; null when it is no phone number, or too short a part of one. */
    const QString &digits() const { return _digits; }

    /** The end of a phone number that stands among words. */
    struct NumberEnd
    {
        QString digits;
        QString word; // that does as well; null for none
    };
    /** The text as words and ends of numbers that are all to be found, of which there is one end at least. */
    struct Reading
    {
        QStringList words;
        QList<NumberEnd> ends;
    };
    /** Besides the words and the digits of the whole. */
    const QList<Reading> &readings() const { return _readings; }

    /**
     * A text as it is compared, where case does not count: without the marks of letters, letters that have a mark built in as they
     * are typed without ("ø", "ß"), digits of any script as ASCII has them, Arabic letters that keyboards mix up as one, each letter of
     * scripts without blanks between words for itself. The text itself where it is ASCII.
     */
    static QString folded(const QString &text);
    /** The same as the index has it: behind it words with apostrophes or hyphens once more without ("O'Neill", "ONeill"). */
    static QString indexed(const QString &text);
    /** With ASCII's in the place of other decimal digits. */
    static QString withPlainDigits(const QString &text);

    enum class Match { Whole, Prefix };
    /** The FTS5 expression for texts that have all of these words. `kind`: null for all. */
    static QString expression(const QStringList &words, Match match, const QString &kind = {});

private:
    void read(const QString &text);

    QString _problem;
    QStringList _words;
    QString _digits;
    QList<Reading> _readings;
};
