#include "VXTextComparison.h"

#include <algorithm>

namespace {

bool isASCII(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

QString withoutMarks(const QString &text)
{
    QString result;
    const QString decomposed = text.normalized(QString::NormalizationForm_D);
    result.reserve(decomposed.size());
    std::copy_if(decomposed.cbegin(), decomposed.cend(), std::back_inserter(result),
                 [](QChar c) { return c.category() != QChar::Mark_NonSpacing; });
    return result;
}

} // namespace

QString VXFoldedText(const QString &text, VXTextOptions options)
{
    QString result = text;
    if (options.testFlag(VXTextOption::DiacriticInsensitive) && !isASCII(text))
        result = withoutMarks(result);
    if (options.testFlag(VXTextOption::CaseInsensitive))
        result = result.toCaseFolded();
    return result;
}

VXLikePattern::VXLikePattern(const QString &pattern, VXTextOptions options) : _options(options)
{
    const QString folded = VXFoldedText(pattern, options);
    for (qsizetype index = 0; index < folded.size(); ++index) {
        const QChar c = folded[index];
        if (c == u'\\' && index + 1 < folded.size())
            _pieces.append({Kind::Plain, folded[++index]});
        else if (c == u'?')
            _pieces.append({Kind::AnyOne, {}});
        else if (c != u'*')
            _pieces.append({Kind::Plain, c});
        else if (_pieces.isEmpty() || _pieces.constLast().kind != Kind::AnyNumber)
            _pieces.append({Kind::AnyNumber, {}});
    }
}

bool VXLikePattern::matches(const QString &text) const
{
    // Only the last "*" needs backtracking: everything before it has matched as early as possible.
    const QString subject = VXFoldedText(text, _options);
    qsizetype at = 0;
    qsizetype piece = 0;
    qsizetype star = -1;     // the piece after the last "*"
    qsizetype starStart = 0; // where its match ends at present
    while (at < subject.size()) {
        const Piece *const next = piece < _pieces.size() ? &_pieces[piece] : nullptr;
        if (next != nullptr && next->kind == Kind::AnyNumber) {
            star = ++piece;
            starStart = at;
        } else if (next != nullptr && (next->kind == Kind::AnyOne || next->character == subject[at])) {
            ++piece;
            ++at;
        } else if (star >= 0) {
            piece = star;
            at = ++starStart;
        } else {
            return false;
        }
    }
    return std::all_of(_pieces.cbegin() + piece, _pieces.cend(),
                       [](const Piece &left) { return left.kind == Kind::AnyNumber; });
}

QRegularExpression VXMatchesPattern(const QString &pattern, VXTextOptions options)
{
    QRegularExpression::PatternOptions patternOptions = QRegularExpression::UseUnicodePropertiesOption;
    if (options.testFlag(VXTextOption::CaseInsensitive))
        patternOptions |= QRegularExpression::CaseInsensitiveOption;
    const QString folded = options.testFlag(VXTextOption::DiacriticInsensitive)
                               ? VXFoldedText(pattern, VXTextOption::DiacriticInsensitive)
                               : pattern;
    return QRegularExpression(QRegularExpression::anchoredPattern(folded), patternOptions);
}
