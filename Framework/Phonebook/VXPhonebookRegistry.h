#pragma once

#include "VXMutex.h"
#include "VXPluginUses.h"

#include <QtCore/QList>
#include <QtCore/QObject>

#include <memory>

class VXPhonebookPlugin;
class VXPlugin;

/** A phonebook plugin during a look-up: it is kept alive, and not unloaded, meanwhile. */
struct VXPhonebookInUse
{
    std::shared_ptr<VXPlugin> instance;
    VXPhonebookPlugin *plugin;
    std::shared_ptr<void> use; // the use ends with the last copy
};

/**
 * The loaded phonebook plugins, in the plugin manager's order, as of the last time one was loaded or unloaded. This
 * lets any thread look up contacts without waiting for the main thread, which plugins belong to.
 */
class VXPhonebookRegistry
{
public:
    /** Made on first use, with the first phonebook plugin, and never freed. */
    static VXPhonebookRegistry &shared();

    /** Any thread; does not block. */
    QList<VXPhonebookInUse> plugins();

private:
    VXPhonebookRegistry();
    ~VXPhonebookRegistry() = default;

    void takeSnapshot();
    void pluginWillUnload(const VXPlugin *plugin);

    struct Known
    {
        std::shared_ptr<VXPlugin> instance;
        VXPhonebookPlugin *plugin;
        QString identifier;
    };

    VXMutex _lock; // to be locked before that of _uses
    QList<Known> _plugins VX_GUARDED_BY(_lock);
    VXPluginUses _uses;
    QObject _observer;
};
