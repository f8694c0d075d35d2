#include "VXEmailAddress.h"

#include "VXCharacterSet.h"
#include "VXCodePoint.h"

#include <algorithm>

namespace {

constexpr qsizetype maximumLocalPartLength = 64;
constexpr qsizetype maximumDomainLength = 255;
constexpr qsizetype addressLiteralLabels = 4;
constexpr int octetLimit = 256;

// Whether the label has only digits, with a value below 256. An empty label counts, with the value 0.
bool isOctet(QStringView label)
{
    int value = 0;
    for (qsizetype index = 0; index < label.size();) {
        const int digit = VXDecimalDigitValue(VXNextCodePoint(label, index));
        if (digit < 0)
            return false;
        value = std::min(value * 10 + digit, octetLimit);
    }
    return value < octetLimit;
}

// What remains of the labels after the test for four numbers: nothing when all pass, otherwise what follows the first
// that fails.
QStringView afterOctets(QStringView domain)
{
    QStringView rest = domain;
    for (bool passes = true; passes && !rest.isEmpty();) {
        const qsizetype dot = rest.indexOf(u'.');
        passes = isOctet(dot < 0 ? rest : rest.first(dot));
        rest = dot < 0 ? QStringView() : rest.sliced(dot + 1);
    }
    return rest;
}

bool isValidDomain(QStringView domain)
{
    const qsizetype dots = domain.count(u'.');
    if (dots == 0 || domain.contains(u'@'))
        return false;
    const QStringView unseen = dots + 1 == addressLiteralLabels ? afterOctets(domain) : domain;
    return VXCharacterSet::emailDomainCharacterSet().containsOnlyMembers(unseen);
}

} // namespace

bool VXIsValidEmailAddress(QStringView text)
{
    const qsizetype at = VXCharacterSet::emailLocalPartCharacterSet().leadingMembers(text);
    if (at == 0 || at > maximumLocalPartLength || at == text.size() || text[at] != u'@')
        return false;
    const QStringView domain = text.sliced(at + 1);
    return domain.size() <= maximumDomainLength && isValidDomain(domain);
}
