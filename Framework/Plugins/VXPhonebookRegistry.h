#pragma once

#include "VXMutex.h"
#include "VXPluginUses.h"

#include <QtCore/QList>
#include <QtCore/QObject>

#include <memory>

class VXPhonebookPlugin;
class VXPlugin;

/** A phonebook plugin as it is asked: held, and not unloaded, meanwhile. */
struct VXPhonebookInUse
{
    std::shared_ptr<VXPlugin> instance;
    VXPhonebookPlugin *plugin;
    std::shared_ptr<void> use; // ends with the last copy
};

/**
 * The loaded phonebook plugins, in the plugin manager's order, as of the last one that was loaded or unloaded: what any thread
 * needs for a look-up, without waiting for the main thread, to which plugins belong.
 */
class VXPhonebookRegistry
{
public:
    /** Made on first use, with the first phonebook plugin, and never freed. */
    static VXPhonebookRegistry &shared();

    /** Any thread, waits for nobody. */
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

    VXMutex _lock; // before that of the uses
    QList<Known> _plugins VX_GUARDED_BY(_lock);
    VXPluginUses _uses;
    QObject _observer;
};
