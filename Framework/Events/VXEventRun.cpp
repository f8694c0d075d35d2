#include "VXEventRun.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXEventManager.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXReactionScope.h"
#include "VXReactorPlugin.h"
#include "VXTriggerFilter.h"

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *operation = "postEventWithName:subtype:object:";
constexpr qsizetype mostIdleTriggers = 100; // of those that do not run, per record

// A macro, so that the text is not composed unless tracing is on.
#define VXTraceEvent(text)                                                                                             \
    do {                                                                                                               \
        if (Q_UNLIKELY(VXDebugCategory::EVNT().isEnabled()))                                                           \
            VXTraceFrom(VXInstanceOrigin(&_manager, operation), VXDebugCategory::EVNT(), text);                        \
    } while (false)

class Stopwatch
{
public:
    double milliseconds() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - _start).count();
    }

private:
    const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

// Only the keys: values may be secrets, and logs are passed on.
QString keysOf(const QVariantMap &options)
{
    return options.isEmpty() ? u"none"_s : options.keys().join(", "_L1);
}

// Shows the error on the main thread, without waiting for it.
void presentError(const VXError &error)
{
    VXMainThread::perform([error] { VXApplication::sharedApplication().presentError(error); });
}

} // namespace

VXEventRun::VXEventRun(const VXEventManager &manager, const VXEvent &event, VXEventRecord *record)
    : _manager(manager), _event(event), _record(record)
{
}

void VXEventRun::runTriggers(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    VXManagedObjectContext context(coordinator);        // for this event only; nothing is saved through it
    const VXFetchResult found = fetchTriggers(context); // fetches their filters as well
    VXTraceEvent(u"Found %1 matching triggers"_s.arg(found.size()));
    QList<VXTrigger> triggers;
    QList<VXManagedObjectPtr> certain; // triggers that run whatever the object is
    for (const VXManagedObjectPtr &record : found) {
        const VXTrigger &trigger = triggers.emplaceBack(record);
        if (trigger.isEnabled() && !trigger.usesFilter())
            certain.append(record);
    }
    if (!certain.isEmpty())
        fetchReactors(certain);
    for (const VXTrigger &trigger : std::as_const(triggers)) {
        VXTriggerRecord record;
        const bool runs = accepts(trigger, record);
        if (runs)
            runTrigger(trigger, record);
        if (_record != nullptr)
            keep(trigger, record, !runs);
    }
}

void VXEventRun::keep(const VXTrigger &trigger, VXTriggerRecord &record, bool isIdle)
{
    if (isIdle && record.outcome != VXTriggerRecord::Outcome::Broken && ++_idleTriggers > mostIdleTriggers) {
        ++_record->omittedTriggers;
        return;
    }
    record.name = trigger.userName();
    record.uri = trigger.record()->objectID().uriRepresentation().toString();
    _record->triggers.append(record);
}

VXFetchResult VXEventRun::fetchTriggers(VXManagedObjectContext &context)
{
    // Made only once: most events have no triggers, and events are posted all the time.
    static const VXExpression name = VXExpression::keyPath(VXTrigger::eventNameKey);
    static const QList<VXSortDescriptor> inOrder{{.key = VXTrigger::indexKey}};
    static const QStringList withFilter{u"filter"_s};
    const VXPredicate predicate =
        VXPredicate::comparison(name, VXPredicate::Operator::Equal, VXExpression::constant(_event.name));
    const VXEntityDescription *const entity =
        context.persistentStoreCoordinator()->model().entityForName(VXTrigger::entityName);
    if (entity == nullptr)
        failFetch(predicate);
    VXFetchRequest request(*entity);
    request.predicate = predicate;
    request.sortDescriptors = inOrder;
    if (entity->relationshipForName(withFilter.constFirst()) != nullptr)
        request.prefetchedRelationships = withFilter;
    return fetch(context, request);
}

// Uses one query; following the relationships would take one for each trigger and one more for each reactor. This
// requires that a reactor belongs to one trigger; in the store of another plugin several may share it.
void VXEventRun::fetchReactors(const QList<VXManagedObjectPtr> &triggers)
{
    const VXManagedObjectPtr &first = triggers.constFirst();
    const VXRelationshipDescription *const reactors = first->entity().relationshipForName(u"reactors"_s);
    const VXRelationshipDescription *const trigger = reactors == nullptr ? nullptr : reactors->inverse();
    if (trigger == nullptr || trigger->isToMany()) {
        followReactors(triggers);
        return;
    }
    QVariantList objectIDs;
    for (const VXManagedObjectPtr &each : triggers) {
        objectIDs.append(QVariant::fromValue(each->objectID()));
        _reactors.insert(each->objectID(), {});
    }
    VXFetchRequest request(reactors->destination());
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(trigger->name()), VXPredicate::Operator::In,
                                                VXExpression::constant(objectIDs));
    request.sortDescriptors = {{.key = u"index"_s}};
    for (const VXManagedObjectPtr &reactor : fetch(*first->managedObjectContext(), request)) {
        if (const VXManagedObjectPtr owner = reactor->related(trigger->index()))
            _reactors[owner->objectID()].append(reactor);
    }
}

void VXEventRun::followReactors(const QList<VXManagedObjectPtr> &triggers)
{
    for (const VXManagedObjectPtr &trigger : triggers) {
        QList<VXManagedObjectPtr> &reactors = _reactors[trigger->objectID()];
        for (const VXReaction &reaction : VXTrigger(trigger).reactions())
            reactors.append(reaction.record());
    }
}

VXFetchResult VXEventRun::fetch(VXManagedObjectContext &context, const VXFetchRequest &request)
{
    VXError error;
    if (auto found = context.executeFetchRequest(request, &error))
        return *std::move(found);
    VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogError, error.description());
    failFetch(request.predicate);
}

void VXEventRun::failFetch(const VXPredicate &predicate)
{
    const QString problem =
        u"Error while fetching triggers for %1 with predicate: %2"_s.arg(_event.name, predicate.predicateFormat());
    if (_record != nullptr)
        _record->problem = problem;
    VXFailAssertion(problem);
}

bool VXEventRun::accepts(const VXTrigger &trigger, VXTriggerRecord &record)
{
    if (trigger.isEnabled())
        return !trigger.usesFilter() || passesFilter(trigger, record);
    VXTraceEvent(u"Trigger is disabled: "_s + trigger.record()->objectID().uriRepresentation().toString());
    record.outcome = VXTriggerRecord::Outcome::Disabled;
    return false;
}

bool VXEventRun::passesFilter(const VXTrigger &trigger, VXTriggerRecord &record)
{
    const VXFilterVerdict verdict = VXApplyTriggerFilter(*trigger.record(), _event.object);
    const auto predicate = [&] { return verdict.predicate ? verdict.predicate->predicateFormat() : QString(); };
    if (_record != nullptr && _idleTriggers < mostIdleTriggers) {
        record.filter = predicate();
        if (verdict.kind == VXFilterVerdict::Kind::Rejected)
            record.problem = VXReasonForRejection(verdict, _event.object);
    }
    switch (verdict.kind) {
    case VXFilterVerdict::Kind::NoFilter:
        VXTraceEvent(u"No filter"_s);
        return true;
    case VXFilterVerdict::Kind::Passed:
        VXTraceEvent(u"Object passed filter: "_s + predicate());
        return true;
    case VXFilterVerdict::Kind::Rejected:
        VXTraceEvent(u"Object did not pass filter: "_s + predicate());
        record.outcome = VXTriggerRecord::Outcome::Rejected;
        return false;
    case VXFilterVerdict::Kind::Broken:
        record.outcome = VXTriggerRecord::Outcome::Broken;
        record.name = trigger.userName();
        record.filter = predicate();
        record.problem = verdict.problem;
        reportFilter(record);
        return false;
    }
    return false;
}

void VXEventRun::runTrigger(const VXTrigger &trigger, VXTriggerRecord &record)
{
    record.name = trigger.userName();
    const VXManagedObjectID &objectID = trigger.record()->objectID();
    if (!_reactors.contains(objectID))
        fetchReactors({trigger.record()});
    const QList<VXManagedObjectPtr> reactors = _reactors.take(objectID);
    VXTraceEvent(u"Executing %1 reactors for trigger %2"_s.arg(reactors.size()).arg(_event.name));
    for (const VXManagedObjectPtr &reactor : reactors) {
        VXReactionRecord reaction;
        const Stopwatch watch;
        runReaction(VXReaction(reactor), record, reaction);
        reaction.milliseconds = watch.milliseconds();
        record.reactions.append(reaction);
    }
}

void VXEventRun::runReaction(const VXReaction &reaction, VXTriggerRecord &trigger, VXReactionRecord &record)
{
    record.identifier = reaction.bundleIdentifier();
    VXTraceEvent(u"Executing "_s + VXDescription(record.identifier));
    const VXReactorInUse found = VXReactorRegistry::shared().find(record.identifier);
    if (!found.isEnabled) {
        VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogWarning,
                  u"Reactor plugin not found/enabled: "_s + VXDescription(record.identifier));
        record.outcome = VXReactionRecord::Outcome::Missing;
        return;
    }
    react(found, reaction.userOptions(), trigger, record);
}

void VXEventRun::react(const VXReactorInUse &reactor, const QVariantMap &userOptions, VXTriggerRecord &trigger,
                       VXReactionRecord &record)
{
    _event.options = userOptions;
    VXReactionScope scope;
    try {
        if (reactor.plugin == nullptr) // on the main thread; on other threads only reactors are found
            (void)VXPluginManager::sharedPluginManager()
                .pluginWithIdentifier(record.identifier)
                ->as<VXReactorPlugin>("reactorDefaults"); // fails with a message that says what the plugin is instead
        _event.options = VXOptionsForReactor(*reactor.plugin, userOptions);
        reactor.plugin->reactToEventWithName(_event.name, _event.subtype, _event.object, _event.options);
        record.problems = scope.problems();
        record.remark = scope.remark();
    } catch (...) {
        const VXThrown thrown = VXDescribeThrown();
        record.problems = scope.problems() << thrown.reason;
        reportThrown(reactor, thrown, _event.options, trigger, record.identifier);
    }
    const std::shared_ptr<VXReactionOutcome::State> outcome = scope.takeOutcome();
    if (!record.problems.isEmpty())
        record.outcome = VXReactionRecord::Outcome::Failed;
    else if (outcome)
        record.outcome = VXReactionRecord::Outcome::Running;
    if (outcome && _record != nullptr)
        _openReactions.push_back({_record->triggers.size(), trigger.reactions.size(), outcome});
}

void VXEventRun::reportThrown(const VXReactorInUse &reactor, const VXThrown &thrown, const QVariantMap &options,
                              const VXTriggerRecord &trigger, const QString &identifier)
{
    VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogError,
              u"EXCEPTION: %1\nreactor: %2\noptions: %3"_s.arg(thrown.description, identifier, keysOf(options)));
    QString name;
    if (reactor.plugin != nullptr)
        VXCallPlugin(*reactor.plugin, "reactorName", [&] { name = reactor.plugin->reactorName(); });
    presentError(
        VXError(VXErrorDomain, VXErrorCouldNotExecute,
                {{VXLocalizedDescriptionKey, VXLocalizedString(u"Unable to execute \"%1\" in trigger \"%2\"."_s)
                                                 .arg(name.isNull() ? identifier : name, displayName(trigger))},
                 {VXLocalizedRecoverySuggestionKey, thrown.reason}}));
}

void VXEventRun::reportFilter(const VXTriggerRecord &trigger)
{
    VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogError,
              u"The filter of a trigger for %1 does not work: %2\nfilter: %3"_s.arg(_event.name, trigger.problem,
                                                                                    VXDescription(trigger.filter)));
    presentError(
        VXError(VXErrorDomain, VXErrorCouldNotExecute,
                {{VXLocalizedDescriptionKey,
                  VXLocalizedString(u"Unable to apply the filter of trigger \"%1\"."_s).arg(displayName(trigger))},
                 {VXLocalizedRecoverySuggestionKey, trigger.problem}}));
}

QString VXEventRun::displayName(const VXTriggerRecord &trigger) const
{
    if (!trigger.name.isEmpty())
        return trigger.name;
    for (const VXBundle::Ptr &bundle : VXReactorRegistry::shared().eventPostingBundles()) {
        if (VXPostedEvents(*bundle).contains(_event.name))
            return bundle->localizedStringForKey(_event.name, _event.name, u"Event"_s);
    }
    return _event.name;
}
