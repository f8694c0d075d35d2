#include "VXCardReader.h"

#include "VXCardBuilder.h"
#include "VXCardLines.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

bool isMark(const VXRawCardLine &raw, const QByteArray &name)
{
    const QByteArrayView beginning = QByteArrayView(raw.octets).first(std::min<qsizetype>(raw.octets.size(), 100));
    if (const QByteArrayView word = beginning.trimmed(); word.isEmpty() || (word.back() | 0x20) != 'd')
        return false; // true of nearly all lines
    const QByteArray plain = beginning.toByteArray().trimmed().toUpper().replace(' ', "").replace('\t', "");
    return plain == name + ":VCARD" || (plain.count(':') == 1 && plain.endsWith('.' + name + ":VCARD"));
}

} // namespace

VXCardReader::VXCardReader(QIODevice &device) : _lines(std::make_unique<VXCardLines>(device)) {}

VXCardReader::~VXCardReader() = default;

bool VXCardReader::findBegin()
{
    bool isTold = false;
    for (VXRawCardLine raw; _begin == 0 && _lines->next(raw);) {
        if (isMark(raw, "BEGIN")) {
            _begin = raw.number;
        } else if (!raw.octets.trimmed().isEmpty() && !std::exchange(isTold, true) && _problems.size() < mostProblems) {
            _problems.append({raw.number, u"what stands here belongs to no card"_s});
        }
    }
    return _begin != 0;
}

// A card within a card, used for agents in version 2.1, directly follows its property; any other BEGIN means that an
// END is missing.
std::optional<VXCard> VXCardReader::next()
{
    if (!findBegin())
        return std::nullopt;
    VXCardBuilder card(std::exchange(_begin, 0));
    qsizetype size = 0;
    const auto finished = [&](bool hasEnd) {
        VXCard whole = card.finished(hasEnd);
        whole.size = size;
        return whole;
    };
    qsizetype depth = 0;
    bool isAgent = false;
    for (VXRawCardLine raw; _lines->next(raw);) {
        size += raw.octets.size();
        if (isMark(raw, "END")) {
            if (depth == 0)
                return finished(true);
            --depth;
        } else if (isMark(raw, "BEGIN")) {
            if (depth == 0 && !isAgent) {
                card.tell(raw.number, u"the card before this line has no end"_s);
                _begin = raw.number;
                return finished(true);
            }
            if (depth++ == 0)
                card.tell(raw.number, u"a card within the card is left out"_s);
        } else if (depth == 0 && !raw.octets.trimmed().isEmpty()) {
            const QByteArray upper = raw.octets.left(20).toUpper();
            isAgent = upper.startsWith("AGENT") && raw.octets.trimmed().endsWith(':');
            if (!isAgent)
                card.add(raw);
            continue;
        }
        isAgent = false;
    }
    return finished(false);
}
