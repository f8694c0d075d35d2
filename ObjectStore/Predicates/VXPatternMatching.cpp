#include "VXPatternMatching.h"

#include "VXDiagnostics.h"

using namespace Qt::StringLiterals;

bool VXPatternMatches(const QRegularExpression &pattern, const QString &text)
{
    if (!text.isValidUtf16()) // patterns cannot match invalid UTF-16, so unpaired surrogates are replaced
        return VXPatternMatches(pattern, QString::fromUtf8(text.toUtf8()));
    const QRegularExpressionMatch fast = pattern.match(text);
    if (fast.hasMatch() || fast.isValid()) // invalid: the matcher gave up
        return fast.hasMatch();
    const QRegularExpression slow("(*NO_JIT)"_L1 + pattern.pattern(), pattern.patternOptions());
    const QRegularExpressionMatch match = slow.match(text);
    if (!match.isValid())
        VXReportDiagnostic(
            3, u"The pattern \"%1\" takes too many steps on a text of %2 characters: it counts as no match"_s
                   .arg(pattern.pattern())
                   .arg(text.size()));
    return match.hasMatch();
}
