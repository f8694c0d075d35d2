#pragma once

#include "VXMutex.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <memory>

/**
 * Counts the threads other than the main thread that run a plugin, so that one which is unloaded can wait until none does.
 * Any thread.
 */
class VXPluginUses
{
public:
    VXPluginUses();

    /** Counts until the last copy is gone; on the main thread, where plugins are unloaded, nothing. */
    std::shared_ptr<void> begin(const QString &identifier);

    /**
     * On the main thread. Serves what those threads want done there meanwhile, and gives up after some seconds. False when it
     * did.
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
