#pragma once

#include "VXMutex.h"

#include <functional>

/**
 * The turn to call the library, which keeps texts in static buffers: one thread at a time, in the whole process. Waits
 * for the turn, unless that is given up first.
 */
class VXGammuTurn
{
public:
    /** `isGivenUp` is asked before waiting, and again after each wake. */
    explicit VXGammuTurn(const std::function<bool()> &isGivenUp);
    ~VXGammuTurn();
    VXGammuTurn(const VXGammuTurn &) = delete;
    VXGammuTurn &operator=(const VXGammuTurn &) = delete;

    /** False when it was given up. */
    explicit operator bool() const { return _isTaken; }

    /** Has all who wait ask again whether they give up. Any thread. */
    static void wake();

private:
    bool _isTaken = false;
};
