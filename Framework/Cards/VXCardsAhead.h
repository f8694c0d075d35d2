#pragma once

#include "VXCardReader.h"
#include "VXMutex.h"

#include <QtCore/QList>

#include <deque>
#include <optional>
#include <thread>

/**
 * The cards of a reader, which a thread of its own reads ahead while others are processed. During its lifetime nobody
 * else may use the reader or its device. On one thread.
 */
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
    QList<VXCard> _cards; // the portion being returned
    qsizetype _next = 0;
    VXMutex _lock;
    VXCondition _changed;
    std::deque<QList<VXCard>> _portions VX_GUARDED_BY(_lock);
    bool _isAtEnd VX_GUARDED_BY(_lock) = false;
    bool _isOver VX_GUARDED_BY(_lock) = false; // no more cards are wanted
    std::thread _thread;
};
