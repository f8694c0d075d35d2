#pragma once

#include "VXPredicate.h"
#include "VXPredicateScanner.h"

/** Parses a predicate. One object parses one text. */
class VXPredicateParser
{
public:
    VXPredicateParser(const QString &format, const QVariantList &arguments);

    /** @return empty, with the problem and its position, on failure. */
    std::optional<VXPredicate> parse(VXError *error);

private:
    struct Mistake // thrown and caught internally
    {
        qsizetype position;
        QString text;
    };

    [[noreturn]] void fail(const QString &text) const;
    void advance() { _token = _scanner.next(); }
    bool takeWord(QLatin1StringView word);
    bool takeMark(QLatin1StringView mark);
    void expectMark(QLatin1StringView mark);

    VXPredicate disjunction();
    VXPredicate conjunction();
    VXPredicate negation();
    VXPredicate simple();
    VXPredicate comparison();
    VXPredicate::Modifier modifier();
    VXPredicate::Operator comparisonOperator();
    VXTextOptions textOptions(VXPredicate::Operator comparison);
    VXExpression expression();
    VXExpression wordExpression();
    VXExpression number();
    VXExpression keyPath(const QString &first);
    VXExpression aggregate();
    VXExpression cast();
    QVariant argument();

    VXPredicateScanner _scanner;
    VXPredicateToken _token;
    const QVariantList _arguments;
    qsizetype _nextArgument = 0;
    int _depth = 0; // nesting of brackets and negations
};
