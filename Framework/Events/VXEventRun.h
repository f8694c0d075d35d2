#pragma once

#include "VXEvent.h"
#include "VXEventRecord.h"
#include "VXFetchRequest.h"
#include "VXFetchResult.h"
#include "VXManagedObjectContext.h"
#include "VXOpenEvent.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXPluginGuard.h"
#include "VXReactorRegistry.h"
#include "VXTrigger.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <vector>

class VXEventManager;

/** One posting of an event, once it is announced: fetches its triggers and runs their reactors. On the poster's thread. */
class VXEventRun
{
public:
    /** What comes of it is written into `record`, when one is given. */
    VXEventRun(const VXEventManager &manager, const VXEvent &event, VXEventRecord *record);

    /** Triggers that cannot be fetched fail an assertion. */
    void runTriggers(const VXPersistentStoreCoordinator::Ptr &coordinator);
    /** Those of the record whose outcomes are told later. */
    const std::vector<VXOpenReaction> &openReactions() const { return _openReactions; }

private:
    /** In order. */
    VXFetchResult fetchTriggers(VXManagedObjectContext &context);

    void fetchReactors(const QList<VXManagedObjectPtr> &triggers);
    void followReactors(const QList<VXManagedObjectPtr> &triggers);
    VXFetchResult fetch(VXManagedObjectContext &context, const VXFetchRequest &request);
    [[noreturn]] void failFetch(const VXPredicate &predicate);
    /** False when the trigger is not to run. */
    bool accepts(const VXTrigger &trigger, VXTriggerRecord &record);
    bool passesFilter(const VXTrigger &trigger, VXTriggerRecord &record);
    void runTrigger(const VXTrigger &trigger, VXTriggerRecord &record);
    void runReaction(const VXReaction &reaction, VXTriggerRecord &trigger, VXReactionRecord &record);
    void react(const VXReactorInUse &reactor, const QVariantMap &userOptions, VXTriggerRecord &trigger,
               VXReactionRecord &record);
    void reportThrown(const VXReactorInUse &reactor, const VXThrown &thrown, const QVariantMap &options,
                      const VXTriggerRecord &trigger, const QString &identifier);
    void reportFilter(const VXTriggerRecord &trigger);
    /** In the event's record, but of triggers that did nothing only so many. */
    void keep(const VXTrigger &trigger, VXTriggerRecord &record, bool isIdle);
    QString displayName(const VXTriggerRecord &trigger) const;

    const VXEventManager &_manager;
    VXEvent _event; // with the options of the reactor that has it
    VXEventRecord *const _record;
    QHash<VXManagedObjectID, QList<VXManagedObjectPtr>> _reactors; // of triggers that are still to run, in order
    qsizetype _idleTriggers = 0;                                   // that did not run so far
    std::vector<VXOpenReaction> _openReactions;                    // those of the record
};
