#include "VXCardsAhead.h"

#include <utility>

namespace {

constexpr qsizetype mostCards = 250;          // per portion
constexpr qsizetype largestPortion = 4 << 20; // octets
constexpr size_t mostPortions = 4;            // waiting

} // namespace

VXCardsAhead::VXCardsAhead(VXCardReader &reader) : _reader(reader), _thread([this] { read(); }) {}

VXCardsAhead::~VXCardsAhead()
{
    {
        const VXMutexLocker locker(_lock);
        _isOver = true;
    }
    _changed.notifyAll();
    _thread.join();
}

bool VXCardsAhead::isOver()
{
    const VXMutexLocker locker(_lock);
    return _isOver;
}

void VXCardsAhead::read()
{
    for (bool isMore = true; isMore;) {
        QList<VXCard> portion;
        qsizetype size = 0;
        while (isMore && portion.size() < mostCards && size < largestPortion && !isOver()) {
            std::optional<VXCard> card = _reader.next();
            isMore = card.has_value();
            if (!isMore)
                break;
            size += card->size;
            portion.append(*std::move(card));
        }
        const VXMutexLocker locker(_lock);
        _portions.push_back(std::move(portion));
        _isAtEnd = !isMore;
        _changed.notifyAll();
        _changed.wait(_lock, [this]() VX_REQUIRES(_lock) { return _isOver || _portions.size() < mostPortions; });
        isMore = isMore && !_isOver;
    }
}

std::optional<VXCard> VXCardsAhead::next()
{
    while (_next == _cards.size()) {
        const VXMutexLocker locker(_lock);
        _changed.wait(_lock, [this]() VX_REQUIRES(_lock) { return _isAtEnd || !_portions.empty(); });
        if (_portions.empty())
            return std::nullopt;
        _cards = std::move(_portions.front());
        _portions.pop_front();
        _next = 0;
        _changed.notifyAll();
    }
    return std::move(_cards[_next++]);
}
