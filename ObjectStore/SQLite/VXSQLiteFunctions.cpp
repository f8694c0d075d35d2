#include "VXSQLiteFunctions.h"

#include "VXPatternMatching.h"
#include "VXSQLiteRowReader.h"
#include "VXTextComparison.h"

#include <QtCore/QStringMatcher>
#include <QtCore/QtEndian>

#include <algorithm>

#include <sqlite3.h>

namespace {

// The text of a value without a copy; valid during the call.
QString textOf(sqlite3_value *value)
{
    const auto *const units = static_cast<const QChar *>(sqlite3_value_text16(value));
    return QString::fromRawData(units, sqlite3_value_bytes16(value) / qsizetype(sizeof(QChar)));
}

VXTextOptions optionsOf(sqlite3_value *value)
{
    return VXTextOptions::fromInt(VXTextOptions::Int(sqlite3_value_int(value)));
}

// The right side of a comparison, prepared once per statement.

struct FoldedPart
{
    FoldedPart(const QString &text, VXTextOptions textOptions)
        : options(textOptions), part(VXFoldedText(QString(text.constData(), text.size()), textOptions))
    {
    }
    const VXTextOptions options;
    const QString part;
};

struct BeginsWith : FoldedPart
{
    using FoldedPart::FoldedPart;
    bool matches(const QString &text) const { return VXFoldedText(text, options).startsWith(part); }
};

struct EndsWith : FoldedPart
{
    using FoldedPart::FoldedPart;
    bool matches(const QString &text) const { return VXFoldedText(text, options).endsWith(part); }
};

struct Contains : FoldedPart
{
    Contains(const QString &text, VXTextOptions textOptions)
        : FoldedPart(text, textOptions),
          matcher(part, options.testFlag(VXTextOption::CaseInsensitive) ? Qt::CaseInsensitive : Qt::CaseSensitive)
    {
    }
    // ASCII is compared in place: tables are searched row by row.
    bool matches(const QString &text) const
    {
        return isASCII(text) ? matcher.indexIn(text) >= 0 : VXFoldedText(text, options).contains(part);
    }
    static bool isASCII(const QString &text)
    {
        char16_t bits = 0;
        for (const QChar c : text)
            bits |= c.unicode();
        return bits < 0x80;
    }
    const QStringMatcher matcher;
};

struct Matches
{
    Matches(const QString &pattern, VXTextOptions textOptions)
        : options(textOptions & VXTextOption::DiacriticInsensitive), expression(VXMatchesPattern(pattern, textOptions))
    {
    }
    bool matches(const QString &text) const
    {
        return expression.isValid() && VXPatternMatches(expression, VXFoldedText(text, options));
    }
    const VXTextOptions options;
    const QRegularExpression expression;
};

template <class Pattern>
void compareTexts(sqlite3_context *context, int /*count*/, sqlite3_value **arguments)
{
    if (sqlite3_value_type(arguments[0]) != SQLITE_TEXT || sqlite3_value_type(arguments[1]) != SQLITE_TEXT) {
        sqlite3_result_int(context, 0);
        return;
    }
    const auto *const kept = static_cast<const Pattern *>(sqlite3_get_auxdata(context, 1));
    if (kept != nullptr) {
        sqlite3_result_int(context, kept->matches(textOf(arguments[0])) ? 1 : 0);
        return;
    }
    auto made = std::make_unique<Pattern>(textOf(arguments[1]), optionsOf(arguments[2]));
    sqlite3_result_int(context, made->matches(textOf(arguments[0])) ? 1 : 0);
    // Last, as it may free the pattern at once; the text it was made from, which it has copied, may go as well.
    sqlite3_set_auxdata(context, 1, made.release(), [](void *pattern) { delete static_cast<Pattern *>(pattern); });
}

void fold(sqlite3_context *context, int /*count*/, sqlite3_value **arguments)
{
    if (sqlite3_value_type(arguments[0]) != SQLITE_TEXT) {
        sqlite3_result_value(context, arguments[0]);
        return;
    }
    // SQLite removes the byte order mark in front; without it a text that begins with one would lose it.
    const QString folded = QChar(QChar::ByteOrderMark) + VXFoldedText(textOf(arguments[0]), optionsOf(arguments[1]));
    sqlite3_result_text64(context, reinterpret_cast<const char *>(folded.utf16()),
                          sqlite3_uint64(folded.size()) * sizeof(QChar), SQLITE_TRANSIENT, SQLITE_UTF16);
}

// Texts in a record may be unaligned.
int compareUnits(void * /*context*/, int leftBytes, const void *left, int rightBytes, const void *right)
{
    const auto *const a = static_cast<const uchar *>(left);
    const auto *const b = static_cast<const uchar *>(right);
    const int bytes = std::min(leftBytes, rightBytes);
    for (int at = 0; at + 1 < bytes; at += 2) {
        const int order = int(qFromUnaligned<quint16>(a + at)) - int(qFromUnaligned<quint16>(b + at));
        if (order != 0)
            return order;
    }
    return leftBytes - rightBytes;
}

} // namespace

void VXRegisterSQLiteFunctions(sqlite3 *database)
{
    using Function = void (*)(sqlite3_context *, int, sqlite3_value **);
    const struct
    {
        const char *name;
        int argumentCount;
        Function function;
    } functions[] = {
        {"VX_FOLD", 2, fold},
        {"VX_BEGINSWITH", 3, compareTexts<BeginsWith>},
        {"VX_ENDSWITH", 3, compareTexts<EndsWith>},
        {"VX_CONTAINS", 3, compareTexts<Contains>},
        {"VX_LIKE", 3, compareTexts<VXLikePattern>},
        {"VX_MATCHES", 3, compareTexts<Matches>},
    };
    for (const auto &[name, argumentCount, function] : functions)
        sqlite3_create_function_v2(database, name, argumentCount,
                                   SQLITE_UTF16 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY, nullptr, function, nullptr,
                                   nullptr, nullptr);
    VXSQLiteRowReader::registerFunction(database);
    sqlite3_create_collation_v2(database, "VXTEXT", SQLITE_UTF16, nullptr, compareUnits, nullptr);
}
