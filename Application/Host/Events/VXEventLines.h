#pragma once

#include "VXNotificationCenter.h"

#include <memory>

class VXHostOutput;

/**
 * As long as it lives, each event posted in this program is reported with a line: when, what, and with whom according
 * to the phonebook. Made and destroyed on the main thread.
 */
class VXEventLines
{
public:
    /** The output must outlive it. */
    explicit VXEventLines(VXHostOutput &output);
    ~VXEventLines();
    VXEventLines(const VXEventLines &) = delete;
    VXEventLines &operator=(const VXEventLines &) = delete;

private:
    const std::shared_ptr<bool> _isGone = std::make_shared<bool>(false); // used on the main thread
    const VXNotificationCenter::ObserverID _observer;
};
