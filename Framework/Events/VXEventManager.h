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
 * Posted for every event, on the poster's thread, before any trigger is looked at; object: the event's object. User info:
 * "event_name", and "event_message", the subtype, when there is one. "VXEventManagerWillPostEvent".
 */
VX_EXPORT extern const VXNotificationName VXEventManagerWillPostEventNotification;

/** User default: how long the application waits before reactors that run once for a burst of events. "ui.reactor_timeout". */
VX_EXPORT extern const QString VXSingletonEventTimeoutDelayDefaultKey;

/**
 * Announces events, looks up the user's triggers for them in the store "triggers", and runs the reactors of those whose
 * filters accept the event's object. Nothing is kept between events: changed triggers take effect with the next one. The
 * catalogue of events is for the main thread; any thread may post.
 */
class VX_EXPORT VXEventManager
{
public:
    /** Made on first use and never freed. */
    static VXEventManager &sharedEventManager();

    VXEventManager(const VXEventManager &) = delete;
    VXEventManager &operator=(const VXEventManager &) = delete;

    /**
     * Posts an event. Everything runs on the calling thread before this returns: observers, filters and reactors; nobody waits
     * for another thread. Elsewhere than on the main thread the reactors are those that were loaded last. `subtype` is null and `object` invalid for none; the
     * object is a map, a VXManagedObjectPtr or a QObject *. Reactors that are missing or throw and filters that do not work are
     * logged and shown to the user; the others run. While the application terminates nothing happens. Triggers that cannot be
     * fetched fail an assertion.
     */
    void postEventWithName(const QString &name, const QString &subtype = {}, const QVariant &object = {});

    /** Posts as above, and tells what came of it; a record without a name while the application terminates. */
    VXEventRecord recordByPostingEventWithName(const QString &name, const QString &subtype = {},
                                               const QVariant &object = {});

    /** The same with the event as one value, whose options count for nothing. */
    VXEventRecord recordByPostingEvent(const VXEvent &event);
    /**
     * Posts, and waits until the work that reactors go on with is done too, with the event loop running. `VXReactionOutcome::
     * cancelAll` shortens that. Main thread only.
     */
    VXEventRecord recordByPostingAndAwaitingEvent(const VXEvent &event);

    // -- The catalogue
    /** What bundles say under "VXPostsEvents", by event name; of two that list an event the later one counts. */
    QVariantMap events() const;
    /** The framework's bundle, the application's, and those of the enabled plugins that post events. */
    QList<VXBundle::Ptr> _eventPostingBundles() const;
    /** The first of those that lists the event; null when none does. */
    VXBundle::Ptr bundleForEventName(const QString &name) const;
    /** From that bundle's strings table "Event", else the name itself; null when no bundle lists the event. */
    QString localizedNameForEventName(const QString &name) const;
    /** The first enabled plugin that lists the event; nullptr when none does. */
    VXPluginProxy *pluginForEventName(const QString &name) const;

private:
    VXEventManager() = default;
    ~VXEventManager() = default;

    using Concluded = std::function<void(const VXEventRecord &record)>;

    /** With a record, `concluded` is called when nothing of it runs any more, perhaps on another thread. */
    void post(const VXEvent &event, VXEventRecord *record, const Concluded &concluded = {});
    void run(const VXEvent &event, VXEventRecord *record, std::vector<VXOpenReaction> *open);
    void announce(const VXEvent &event) const;
    /** Null when there is no such store; null with a problem when there is one that cannot be used. */
    std::shared_ptr<VXPersistentStoreCoordinator> triggersCoordinator(QString *problem);
    void keepRecord(VXEventRecord &record) const;

    std::atomic<bool> _hasTriggersStore = false;
    std::atomic<bool> _saidThatStoreIsMissing = false;
    mutable std::atomic<bool> _saidThatHistoryFails = false;
};
