#pragma once

#include "VXMutex.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <memory>

/**
 * Counts the threads other than the main thread that run a plugin, so that unloading it can wait until none does. Any
 * thread.
 */
class VXPluginUses
{
public:
    VXPluginUses();

    /** Counts a use until the last copy is gone. On the main thread, where plugins are unloaded, nothing is counted. */
    std::shared_ptr<void> begin(const QString &identifier);

    /**
     * To be called on the main thread, which serves calls of those threads meanwhile. Gives up after some seconds, and
     * returns false.
     */
    bool waitUntilUnused(const QString &identifier);

private:
    struct Counts
    {
        VXMutex lock;
        VXCondition changed;
        QHash<QString, int> uses VX_GUARDED_BY(lock);
    };
    class Use;

    const std::shared_ptr<Counts> _counts;
};
