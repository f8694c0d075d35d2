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

/**
 * One posting of an event, after its announcement: fetches the triggers and runs their reactors. On the poster's
 * thread.
 */
class VXEventRun
{
public:
    /** Writes the results into `record`, if one is given. */
    VXEventRun(const VXEventManager &manager, const VXEvent &event, VXEventRecord *record);

    /** Fails an assertion when the triggers cannot be fetched. */
    void runTriggers(const VXPersistentStoreCoordinator::Ptr &coordinator);
    /** The record's reactions whose outcomes come later. */
    const std::vector<VXOpenReaction> &openReactions() const { return _openReactions; }

private:
    /** In the order in which they run. */
    VXFetchResult fetchTriggers(VXManagedObjectContext &context);

    void fetchReactors(const QList<VXManagedObjectPtr> &triggers);
    void followReactors(const QList<VXManagedObjectPtr> &triggers);
    VXFetchResult fetch(VXManagedObjectContext &context, const VXFetchRequest &request);
    [[noreturn]] void failFetch(const VXPredicate &predicate);
    /** Whether the trigger is to run. */
    bool accepts(const VXTrigger &trigger, VXTriggerRecord &record);
    bool passesFilter(const VXTrigger &trigger, VXTriggerRecord &record);
    void runTrigger(const VXTrigger &trigger, VXTriggerRecord &record);
    void runReaction(const VXReaction &reaction, VXTriggerRecord &trigger, VXReactionRecord &record);
    void react(const VXReactorInUse &reactor, const QVariantMap &userOptions, VXTriggerRecord &trigger,
               VXReactionRecord &record);
    void reportThrown(const VXReactorInUse &reactor, const VXThrown &thrown, const QVariantMap &options,
                      const VXTriggerRecord &trigger, const QString &identifier);
    void reportFilter(const VXTriggerRecord &trigger);
    /** Adds the trigger to the event's record; of triggers that did nothing only a limited number. */
    void keep(const VXTrigger &trigger, VXTriggerRecord &record, bool isIdle);
    QString displayName(const VXTriggerRecord &trigger) const;

    const VXEventManager &_manager;
    VXEvent _event; // with the options of the reactor that is about to run
    VXEventRecord *const _record;
    QHash<VXManagedObjectID, QList<VXManagedObjectPtr>> _reactors; // of triggers that have yet to run, in order
    qsizetype _idleTriggers = 0;                                   // triggers that did not run so far
    std::vector<VXOpenReaction> _openReactions;                    // those in the record
};
