#pragma once

#include <QtCore/QString>

#include <atomic>
#include <functional>

/** How far work is, and whether the user has stopped it. Any thread. */
struct VXWindowWork
{
    std::atomic<qsizetype> done = 0;
    std::atomic<bool> isStopped = false;
};

/**
 * Does work on another thread, and returns when it has ended; a window shows the progress, and keeps the user from
 * anything else meanwhile. Main thread.
 */
enum class VXWindowStop { Allowed, Refused };
void VXWorkInWindow(const QString &title, qsizetype total, VXWindowStop stop,
                    const std::function<void(VXWindowWork &)> &work);
