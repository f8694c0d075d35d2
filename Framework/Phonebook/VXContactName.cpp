#include "VXContactName.h"

#include "VXTextComparison.h"

#include <algorithm>

namespace {

using VXContactName::parts;

// Sorted, ignoring case, diacritics and separators.
QStringList wordsOf(const VXContactRecord &contact)
{
    const QString name = VXFoldedText(VXContactName::textOf(contact),
                                      VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
    QStringList words = QString(name).replace(u',', u' ').split(u' ', Qt::SkipEmptyParts);
    words.sort();
    return words;
}

bool isInParts(const VXContactRecord &contact)
{
    return std::ranges::any_of(parts, [&](QString VXContactRecord::*part) {
        return part != &VXContactRecord::firstName && !(contact.*part).isEmpty();
    });
}

bool contradict(const VXContactRecord &a, const VXContactRecord &b)
{
    return isInParts(a) != isInParts(b) || std::ranges::any_of(parts, [&](QString VXContactRecord::*part) {
               return !(a.*part).isEmpty() && !(b.*part).isEmpty() && a.*part != b.*part;
           });
}

} // namespace

bool VXContactName::isSame(const VXContactRecord &a, const VXContactRecord &b)
{
    return std::ranges::all_of(parts, [&](QString VXContactRecord::*part) { return a.*part == b.*part; });
}

bool VXContactName::saysAllOf(const VXContactRecord &contact, const VXContactRecord &other)
{
    return std::ranges::includes(wordsOf(contact), wordsOf(other));
}

QString VXContactName::textOf(const VXContactRecord &contact)
{
    QStringList names;
    for (QString VXContactRecord::*const part : parts) {
        if (!(contact.*part).isEmpty())
            names.append((contact.*part).simplified());
    }
    return names.join(u' ');
}

void VXContactName::unite(VXContactRecord &to, const VXContactRecord &news, bool newsCount)
{
    const bool isKnown = saysAllOf(to, news);
    const bool isFuller = saysAllOf(news, to);
    const bool areBoth = !isKnown && !isFuller && !contradict(to, news);
    bool isTaken = isFuller || (!isKnown && !areBoth && newsCount);
    if (isKnown && isFuller)
        isTaken = isInParts(to) == isInParts(news) ? newsCount : isInParts(news);
    for (QString VXContactRecord::*const part : parts) {
        if (isTaken || (areBoth && (to.*part).isEmpty()))
            to.*part = news.*part;
    }
}
