#pragma once

#include "VXEventRecord.h"
#include "VXFetchRequest.h"
#include "VXFetchResult.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXPluginGuard.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <vector>

class VXEventManager;
class VXPluginProxy;
class VXReactorPlugin;

/** One posting of an event, once it is announced: fetches its triggers and runs their reactors. On the poster's thread. */
class VXEventRun
{
public:
    /** What comes of it is written into `record`, when one is given. */
    VXEventRun(const VXEventManager &manager, const QString &name, const QString &subtype, const QVariant &object,
               VXEventRecord *record);

    /** Triggers that cannot be fetched fail an assertion. */
    void runTriggers(const VXPersistentStoreCoordinator::Ptr &coordinator);

private:
    struct Trigger
    {
        VXManagedObjectPtr object;
        bool isEnabled;
        bool usesFilter;
    };
    /** A reactor plugin as it is called: looked up on the main thread, and held while it runs. */
    struct Reactor
    {
        VXPluginProxy *proxy = nullptr; // nullptr: missing, or not enabled
        std::shared_ptr<VXPlugin> instance = {};
        VXReactorPlugin *plugin = nullptr;
    };

    /** In order. */
    VXFetchResult fetchTriggers(VXManagedObjectContext &context);
    static std::vector<Trigger> readTriggers(const VXFetchResult &found);
    void fetchReactors(const QList<VXManagedObjectPtr> &triggers);
    void followReactors(const QList<VXManagedObjectPtr> &triggers);
    VXFetchResult fetch(VXManagedObjectContext &context, const VXFetchRequest &request);
    [[noreturn]] void failFetch(const VXPredicate &predicate);
    /** False when the trigger is not to run. */
    bool accepts(const Trigger &trigger, VXTriggerRecord &record);
    bool passesFilter(const VXManagedObject &trigger, VXTriggerRecord &record);
    void runTrigger(const VXManagedObjectPtr &trigger, VXTriggerRecord &record);
    void runReactor(const VXManagedObject &reactor, VXTriggerRecord &trigger, VXReactionRecord &record);
    void react(const Reactor &reactor, const QVariantMap &userOptions, VXTriggerRecord &trigger,
               VXReactionRecord &record);
    static Reactor findReactor(const QString &identifier);
    void reportThrown(const Reactor &reactor, const VXThrown &thrown, const QVariantMap &options,
                      const VXTriggerRecord &trigger);
    void reportFilter(const VXTriggerRecord &trigger);
    /** In the event's record, but of triggers that did nothing only so many. */
    void keep(const VXManagedObject &trigger, VXTriggerRecord &record, bool isIdle);
    QString displayName(const VXTriggerRecord &trigger) const;

    const VXEventManager &_manager;
    const QString _name;
    const QString _subtype;
    const QVariant _object;
    VXEventRecord *const _record;
    QHash<VXManagedObjectID, QList<VXManagedObjectPtr>> _reactors; // of triggers that are still to run, in order
    qsizetype _idleTriggers = 0;                                   // that did not run so far
};
