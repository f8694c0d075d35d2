#include "VXVersion.h"

#include "VXCharacterSet.h"
#include "VXLog.h"

using namespace Qt::StringLiterals;

namespace {

// Removes the digits at the start of the text and returns them without leading zeros, so that a longer number is
// greater.
QStringView takeNumber(QStringView &text)
{
    qsizetype end = 0;
    while (end < text.size() && text[end].isDigit())
        ++end;
    QStringView number = text.first(end);
    while (!number.empty() && number.front().digitValue() == 0)
        number = number.sliced(1);
    text = text.sliced(end);
    return number;
}

int compareNumbers(QStringView a, QStringView b)
{
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    for (qsizetype index = 0; index < a.size(); ++index) {
        if (const int difference = a[index].digitValue() - b[index].digitValue(); difference != 0)
            return difference < 0 ? -1 : 1;
    }
    return 0;
}

// Compares runs of digits as numbers, and everything else by code unit.
int compareComponents(QStringView a, QStringView b)
{
    while (!a.empty() && !b.empty()) {
        if (a.front().isDigit() && b.front().isDigit()) {
            const QStringView numberA = takeNumber(a);
            const QStringView numberB = takeNumber(b);
            if (const int order = compareNumbers(numberA, numberB); order != 0)
                return order;
            continue;
        }
        if (a.front() != b.front())
            return a.front() < b.front() ? -1 : 1;
        a = a.sliced(1);
        b = b.sliced(1);
    }
    return a.empty() ? (b.empty() ? 0 : -1) : 1;
}

void checkComponent(QStringView component, QStringView version)
{
    if (!VXCharacterSet::decimalDigitCharacterSet().containsOnlyMembers(component))
        VXLog::log(VXLogWarning, u"version component is not a number: %1"_s.arg(version));
}

} // namespace

int vx_compareVersion(QStringView a, QStringView b)
{
    auto componentsA = a.tokenize(u'.');
    auto componentsB = b.tokenize(u'.');
    auto nextA = componentsA.begin();
    auto nextB = componentsB.begin();
    for (; nextA != componentsA.end() && nextB != componentsB.end(); ++nextA, ++nextB) {
        checkComponent(*nextA, a);
        checkComponent(*nextB, b);
        if (const int order = compareComponents(*nextA, *nextB); order != 0)
            return order;
    }
    return nextA != componentsA.end() ? 1 : (nextB != componentsB.end() ? -1 : 0);
}
