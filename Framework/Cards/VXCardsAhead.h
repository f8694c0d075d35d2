#pragma once

#include "VXCardReader.h"
#include "VXMutex.h"

#include <QtCore/QList>

#include <deque>
#include <optional>
#include <thread>

/** The cards of a reader, some of which a thread of its own reads while the others are worked on. While it lives nobody else uses the
 *  reader, nor its device. On one thread. */
class VXCardsAhead
{
public:
    explicit VXCardsAhead(VXCardReader &reader);
    /** Waits for the card that is being read. */
    ~VXCardsAhead();
    VXCardsAhead(const VXCardsAhead &) = delete;
    VXCardsAhead &operator=(const VXCardsAhead &) = delete;

    /** None at the end. */
    std::optional<VXCard> next();

private:
    void read();
    bool isOver();

    VXCardReader &_reader;
    QList<VXCard> _cards; // being given out
    qsizetype _next = 0;
    VXMutex _lock;
    VXCondition _changed;
    std::deque<QList<VXCard>> _portions VX_GUARDED_BY(_lock);
    bool _isAtEnd VX_GUARDED_BY(_lock) = false;
    bool _isOver VX_GUARDED_BY(_lock) = false; // nobody wants more
    std::thread _thread;
};
