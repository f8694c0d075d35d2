#pragma once

#include <QtCore/QString>
#include <QtCore/QStringView>

/** A word, mark or literal of a model's source. */
struct VXModelToken
{
    enum class Kind { End, Word, Mark, Number, Text, Bad };

    Kind kind = Kind::End;
    QString text; // of a Text what it stands for, of a Bad what is wrong
    int line = 0;

    bool isMark(QStringView mark) const { return kind == Kind::Mark && text == mark; }
    bool isWord(QStringView word) const { return kind == Kind::Word && text == word; }
};

/** Cuts a model's source into tokens; comments and white space lie between them. */
class VXModelScanner
{
public:
    explicit VXModelScanner(QStringView source) : _source(source) {}

    /** The next token; End, again and again, after the last. */
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
