#pragma once

#include "VXBundle.h"
#include "VXMutex.h"
#include "VXPluginUses.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

class VXPlugin;
class VXReactorPlugin;

/** A reactor plugin as an event uses it: it is kept alive, and not unloaded, meanwhile. */
struct VXReactorInUse
{
    /** Whether the plugin is known and enabled. It is loaded, too, if there is an instance. */
    bool isEnabled = false;
    std::shared_ptr<VXPlugin> instance = {};
    VXReactorPlugin *plugin = nullptr; // the instance, if it is a reactor
    std::shared_ptr<void> use = {};    // the use ends with the last copy
};

/**
 * The loaded reactors, and the bundles that post events, as of the last time a plugin was loaded or unloaded. This lets
 * other threads run events without waiting for the main thread, which plugins belong to. When a plugin is unloaded, the
 * main thread waits, for some seconds at most, until no other thread runs it, and serves their calls meanwhile.
 */
class VXReactorRegistry
{
public:
    /** Made on first use, with the first reactor, and never freed. */
    static VXReactorRegistry &shared();

    /** Finds a reactor: on the main thread in its present state, on other threads as of the snapshot. Any thread; does
     *  not block. */
    VXReactorInUse find(const QString &identifier);
    /** In the order of precedence for events. Any thread. */
    QList<VXBundle::Ptr> eventPostingBundles() const;

private:
    VXReactorRegistry();
    ~VXReactorRegistry() = default;

    VXReactorInUse findNow(const QString &identifier) const;
    void pluginDidLoad(const VXPlugin *plugin);
    void pluginWillUnload(const VXPlugin *plugin);
    void takeSnapshot();

    mutable VXMutex _lock;                                                    // to be locked before that of _uses
    QHash<QString, std::shared_ptr<VXPlugin>> _reactors VX_GUARDED_BY(_lock); // loaded reactors
    QList<VXBundle::Ptr> _postingBundles VX_GUARDED_BY(_lock);
    VXPluginUses _uses;
    QObject _observer;
};
