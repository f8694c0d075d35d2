#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QFlags>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>

/** What a comparison of texts overlooks. */
enum class VXTextOption : quint8 {
    CaseInsensitive = 1,      // [c]: texts are folded as Unicode's full case folding says
    DiacriticInsensitive = 2, // [d]: marks that combine with a letter do not count
};
Q_DECLARE_FLAGS(VXTextOptions, VXTextOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(VXTextOptions)

/** The text without what the options overlook; the text itself, not copied, when they overlook nothing. Reentrant. */
VX_STORE_EXPORT QString VXFoldedText(const QString &text, VXTextOptions options);

/**
 * A pattern of LIKE: "?" stands for any one character, "*" for any number of them, a backslash makes the next one
 * plain. It is taken apart once. Reentrant.
 */
class VX_STORE_EXPORT VXLikePattern
{
public:
    VXLikePattern(const QString &pattern, VXTextOptions options);

    /** True when the pattern describes the whole text. Time grows with the product of the lengths at most. */
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

/** The regular expression of MATCHES, which must describe the whole text. Invalid when the pattern is. */
VX_STORE_EXPORT QRegularExpression VXMatchesPattern(const QString &pattern, VXTextOptions options);
