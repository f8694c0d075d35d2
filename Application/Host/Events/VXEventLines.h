#pragma once

#include "VXNotificationCenter.h"

#include <memory>

class VXHostOutput;

/**
 * While it lives, each event that is posted in this program is told with a line: when, what, and of whom by the phonebook. Made and
 * ended on the main thread.
 */
class VXEventLines
{
public:
    /** The output outlives it. */
    explicit VXEventLines(VXHostOutput &output);
    ~VXEventLines();
    VXEventLines(const VXEventLines &) = delete;
    VXEventLines &operator=(const VXEventLines &) = delete;

private:
    const std::shared_ptr<bool> _isGone = std::make_shared<bool>(false); // for the main thread
    const VXNotificationCenter::ObserverID _observer;
};
