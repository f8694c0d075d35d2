#pragma once

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

    /**
     * A text as the index has it, where case does not count: without the marks of letters, letters that have a mark built in as they
     * are typed without ("ø", "ß"), each letter of scripts without blanks between words for itself. The text itself where it is ASCII.
     */
    static QString folded(const QString &text);

    enum class Match { Whole, Prefix };
    /** The FTS5 expression for texts that have all of these words. `kind`: null for all. */
    static QString expression(const QStringList &words, Match match, const QString &kind = {});

private:
    QString _problem;
    QStringList _words;
    QString _digits;
};
