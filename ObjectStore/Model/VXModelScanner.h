#pragma once

#include <QtCore/QString>
#include <QtCore/QStringView>

/** A word, mark or literal of a model's source. */
struct VXModelToken
{
    enum class Kind { End, Word, Mark, Number, Text, Bad };

    Kind kind = Kind::End;
    QString text; // for Text its value, for Bad the problem
    int line = 0;

    bool isMark(QStringView mark) const { return kind == Kind::Mark && text == mark; }
    bool isWord(QStringView word) const { return kind == Kind::Word && text == word; }
};

/** Splits a model's source into tokens, without comments and white space. */
class VXModelScanner
{
public:
    explicit VXModelScanner(QStringView source) : _source(source) {}

    /** The next token; after the last one always End. */
    VXModelToken next();

private:
    void skipSpace();
    bool skipComment();
    VXModelToken text(int line);
    QChar peek(qsizetype ahead = 0) const;
    template <class Predicate>
    QString takeWhile(Predicate matches);

    const QStringView _source;
    qsizetype _at = 0;
    int _line = 1;
};
