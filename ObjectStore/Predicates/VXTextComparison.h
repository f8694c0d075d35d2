#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QFlags>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>

/** What to ignore when comparing texts. */
enum class VXTextOption : quint8 {
    CaseInsensitive = 1,      // [c]: texts are folded by Unicode's full case folding
    DiacriticInsensitive = 2, // [d]: combining marks are ignored
};
Q_DECLARE_FLAGS(VXTextOptions, VXTextOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(VXTextOptions)

/** The text without what the options ignore; without options the text itself, not copied. Reentrant. */
VX_STORE_EXPORT QString VXFoldedText(const QString &text, VXTextOptions options);

/**
 * A LIKE pattern: "?" matches any one character, "*" any number of them, a backslash escapes the next character. Parsed
 * once. Reentrant.
 */
class VX_STORE_EXPORT VXLikePattern
{
public:
    VXLikePattern(const QString &pattern, VXTextOptions options);

    /** Whether the pattern matches the whole text. The time grows at most with the product of the lengths. */
    bool matches(const QString &text) const;

private:
    enum class Kind : quint8 { Plain, AnyOne, AnyNumber };
    struct Piece
    {
        Kind kind;
        QChar character;
    };

    const VXTextOptions _options;
    QList<Piece> _pieces;
};

/** The regular expression for MATCHES, which has to match the whole text. Invalid if the pattern is. */
VX_STORE_EXPORT QRegularExpression VXMatchesPattern(const QString &pattern, VXTextOptions options);
