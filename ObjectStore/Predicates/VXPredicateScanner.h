#pragma once

#include <QtCore/QString>

/** A word, mark or literal of a predicate's text. */
struct VXPredicateToken
{
    enum class Kind { End, Word, Mark, Number, Text, Bad };

    Kind kind = Kind::End;
    QString text; // for Text its value, for Bad the problem
    qsizetype position = 0;

    bool isMark(QLatin1StringView mark) const { return kind == Kind::Mark && text == mark; }
    bool isWord(QLatin1StringView word) const
    {
        return kind == Kind::Word && text.compare(word, Qt::CaseInsensitive) == 0;
    }
};

/** Splits a predicate's text into tokens. Words begin with a letter, "_", "#", "@" or "$". */
class VXPredicateScanner
{
public:
    explicit VXPredicateScanner(const QString &source) : _source(source) {}

    /** The next token; after the last one always End. */
    VXPredicateToken next();

private:
    VXPredicateToken text(QChar quote);
    VXPredicateToken number();
    VXPredicateToken mark();
    QChar peek(qsizetype ahead = 0) const;

    const QString _source;
    qsizetype _at = 0;
};
