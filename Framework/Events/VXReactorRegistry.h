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

/** A reactor plugin as an event calls it: held, and not unloaded, while the event has it. */
struct VXReactorInUse
{
    /** Known, and enabled; loaded too, if there is an instance. */
    bool isEnabled = false;
    std::shared_ptr<VXPlugin> instance = {};
    VXReactorPlugin *plugin = nullptr; // the instance, if it reacts
    std::shared_ptr<void> use = {};    // ends with the last copy
};

/**
 * The loaded reactors, and the bundles that post events, as of the last plugin that was loaded or unloaded: what other threads
 * need to know for an event, without waiting for the main thread, to which plugins belong. There a plugin that is unloaded
 * waits until no other thread runs it any more, for some seconds at most, and serves what those want done meanwhile.
 */
class VXReactorRegistry
{
public:
    /** Made on first use, with the first reactor, and never freed. */
    static VXReactorRegistry &shared();

    /** On the main thread as things are, elsewhere as of the snapshot. Any thread, waits for nobody. */
    VXReactorInUse find(const QString &identifier);
    /** In the order that counts for events. Any thread. */
    QList<VXBundle::Ptr> eventPostingBundles() const;

private:
    VXReactorRegistry();
    ~VXReactorRegistry() = default;

    VXReactorInUse findNow(const QString &identifier) const;
    void pluginDidLoad(const VXPlugin *plugin);
    void pluginWillUnload(const VXPlugin *plugin);
    void takeSnapshot();

    mutable VXMutex _lock;                                                    // before that of the uses
    QHash<QString, std::shared_ptr<VXPlugin>> _reactors VX_GUARDED_BY(_lock); // loaded ones
    QList<VXBundle::Ptr> _postingBundles VX_GUARDED_BY(_lock);
    VXPluginUses _uses;
    QObject _observer;
};
