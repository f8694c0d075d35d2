#pragma once

#include "VXBundle.h"
#include "VXEvent.h"
#include "VXEventRecord.h"
#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class VXPersistentStoreCoordinator;
struct VXOpenReaction;
class VXPluginProxy;

/**
 * Posted for every event, on the poster's thread, before any trigger is looked at; object: the event's object. User
 * info: "event_name"; and "event_message", the subtype, if there is one. "VXEventManagerWillPostEvent".
 */
VX_EXPORT extern const VXNotificationName VXEventManagerWillPostEventNotification;

/**
 * User default: how long the application waits before it runs reactors that run once for a burst of events.
 * "ui.reactor_timeout".
 */
VX_EXPORT extern const QString VXSingletonEventTimeoutDelayDefaultKey;

/** What the bundle lists under "VXPostsEvents": by event name, what is said of it. Empty for none. */
[[nodiscard]] VX_EXPORT QVariantMap VXPostedEvents(const VXBundle &bundle);

/**
 * Announces events, looks up the user's triggers for them in the store "triggers", and runs the reactors of those
 * triggers whose filters accept the event's object. Nothing is cached between events: changed triggers take effect with
 * the next event. The catalogue of events is for the main thread; any thread may post.
 */
class VX_EXPORT VXEventManager
{
public:
    /** Made on first use and never freed. */
    static VXEventManager &sharedEventManager();

    VXEventManager(const VXEventManager &) = delete;
    VXEventManager &operator=(const VXEventManager &) = delete;

    /**
     * Posts an event. Observers, filters and reactors all run on the calling thread before this returns, without
     * waiting for another thread. On threads other than the main thread, the reactors are those known after the last
     * plugin was loaded or unloaded. `subtype` is null and `object` invalid for none; the object is a map, a
     * VXManagedObjectPtr or a QObject *. Missing reactors, reactors that throw, and filters that do not work are logged
     * and shown to the user; the others run. While the application terminates, nothing happens. If the triggers cannot
     * be fetched, an assertion fails.
     */
    void postEventWithName(const QString &name, const QString &subtype = {}, const QVariant &object = {});

    /** Posts as above, and returns what became of the event; a record without a name while the application terminates.
     *  */
    VXEventRecord recordByPostingEventWithName(const QString &name, const QString &subtype = {},
                                               const QVariant &object = {});

    /** The same with the event as one value, whose options are ignored. */
    VXEventRecord recordByPostingEvent(const VXEvent &event);
    /**
     * Posts an event and runs the event loop until the work that reactors continue asynchronously is done, too.
     * `VXReactionOutcome::cancelAll` shortens the wait. Main thread only.
     */
    VXEventRecord recordByPostingAndAwaitingEvent(const VXEvent &event);

    // -- The catalogue
    /** The entries that bundles list under "VXPostsEvents", by event name; if two bundles list an event, the later one
     *  wins. */
    QVariantMap events() const;
    /** The bundles of the framework, of the application, and of the enabled plugins that post events. */
    QList<VXBundle::Ptr> _eventPostingBundles() const;
    /** The first of those bundles that lists the event; null when none does. */
    VXBundle::Ptr bundleForEventName(const QString &name) const;
    /** The name from that bundle's strings table "Event", or else the event's own name; null when no bundle lists the
     *  event. */
    QString localizedNameForEventName(const QString &name) const;
    /** The first enabled plugin that lists the event; nullptr when none does. */
    VXPluginProxy *pluginForEventName(const QString &name) const;

private:
    VXEventManager() = default;
    ~VXEventManager() = default;

    using Concluded = std::function<void(const VXEventRecord &record)>;

    /** With a record, `concluded` is called when no reactor's work goes on any more, perhaps on another thread. */
    void post(const VXEvent &event, VXEventRecord *record, const Concluded &concluded = {});
    void run(const VXEvent &event, VXEventRecord *record, std::vector<VXOpenReaction> *open);
    void announce(const VXEvent &event) const;
    /** Null if there is no such store; null with a problem if there is one that cannot be used. */
    std::shared_ptr<VXPersistentStoreCoordinator> triggersCoordinator(QString *problem);
    void keepRecord(VXEventRecord &record) const;

    std::atomic<bool> _hasTriggersStore = false;
    std::atomic<bool> _saidThatStoreIsMissing = false;
    mutable std::atomic<bool> _saidThatHistoryFails = false;
};
