#include "VXEventRun.h"

#include "VXApplication.h"
#include "VXComparison.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXEventManager.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXJSON.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXReactionScope.h"
#include "VXReactorPlugin.h"
#include "VXTriggerFilter.h"

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *operation = "postEventWithName:subtype:object:";
constexpr qsizetype mostIdleTriggers = 100; // in a record, of those that do not run

// A macro, so that the text is not made while nobody reads it.
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

QString nameOf(const VXManagedObject &trigger)
{
    return trigger.valueForKey(u"userName"_s).toString();
}

QString textOf(const QVariantMap &options)
{
    return QString::fromUtf8(VXJSONText(VXJSONFromVariant(options)));
}

} // namespace

VXEventRun::VXEventRun(const VXEventManager &manager, const QString &name, const QString &subtype,
                       const QVariant &object, VXEventRecord *record)
    : _manager(manager), _name(name), _subtype(subtype), _object(object), _record(record)
{
}

void VXEventRun::runTriggers(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    VXManagedObjectContext context(coordinator);        // for this event alone; nothing is saved through it
    const VXFetchResult found = fetchTriggers(context); // which holds their filters too
    const std::vector<Trigger> triggers = readTriggers(found);
    VXTraceEvent(u"Found %1 matching triggers"_s.arg(triggers.size()));
    QList<VXManagedObjectPtr> certain; // to run, whatever the object is
    for (const Trigger &trigger : triggers) {
        if (trigger.isEnabled && !trigger.usesFilter)
            certain.append(trigger.object);
    }
    if (!certain.isEmpty())
        fetchReactors(certain);
    for (const Trigger &trigger : triggers) {
        VXTriggerRecord record;
        const bool runs = accepts(trigger, record);
        if (runs)
            runTrigger(trigger.object, record);
        if (_record != nullptr)
            keep(*trigger.object, record, !runs);
    }
}

void VXEventRun::keep(const VXManagedObject &trigger, VXTriggerRecord &record, bool isIdle)
{
    if (isIdle && record.outcome != VXTriggerRecord::Outcome::Broken && ++_idleTriggers > mostIdleTriggers) {
        ++_record->omittedTriggers;
        return;
    }
    record.name = nameOf(trigger);
    record.uri = trigger.objectID().uriRepresentation().toString();
    _record->triggers.append(record);
}

VXFetchResult VXEventRun::fetchTriggers(VXManagedObjectContext &context)
{
    const VXPredicate predicate = VXPredicate::comparison(VXExpression::keyPath(u"eventName"_s),
                                                          VXPredicate::Operator::Equal, VXExpression::constant(_name));
    const VXEntityDescription *const entity =
        context.persistentStoreCoordinator()->model().entityForName(u"VXTrigger"_s);
    if (entity == nullptr)
        failFetch(predicate);
    VXFetchRequest request(*entity);
    request.predicate = predicate;
    request.sortDescriptors = {{.key = u"index"_s}};
    if (entity->relationshipForName(u"filter"_s) != nullptr)
        request.prefetchedRelationships = {u"filter"_s};
    return fetch(context, request);
}

std::vector<VXEventRun::Trigger> VXEventRun::readTriggers(const VXFetchResult &found)
{
    std::vector<Trigger> triggers;
    if (found.isEmpty())
        return triggers;
    const VXEntityDescription &entity = found.first()->entity();
    const VXPropertyDescription *const isEnabled = entity.propertyForName(u"isEnabled"_s);
    const VXPropertyDescription *const useFilter = entity.propertyForName(u"useFilter"_s);
    const auto isOn = [](const VXManagedObjectPtr &trigger, const VXPropertyDescription *property) {
        return property == nullptr || trigger->attribute(property->index()).toBool();
    };
    triggers.reserve(size_t(found.size()));
    for (const VXManagedObjectPtr &trigger : found)
        triggers.push_back({trigger, isOn(trigger, isEnabled), isOn(trigger, useFilter)});
    return triggers;
}

// With one query, where following the relationships takes one for each trigger and one more for each reactor. That takes a
// reactor to belong to one trigger; another plugin's store may have a model in which several share it.
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
        const QVariantList related = trigger->valueForKey(u"reactors"_s).toList();
        for (const QVariant &reactor : vx_sortedArrayUsingKey(related, u"index"_s))
            reactors.append(reactor.value<VXManagedObjectPtr>());
    }
}

VXFetchResult VXEventRun::fetch(VXManagedObjectContext &context, const VXFetchRequest &request)
{
    VXError error;
    if (const auto found = context.executeFetchRequest(request, &error))
        return *found;
    VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogError, error.description());
    failFetch(request.predicate);
}

void VXEventRun::failFetch(const VXPredicate &predicate)
{
    const QString problem =
        u"Error while fetching triggers for %1 with predicate: %2"_s.arg(_name, predicate.predicateFormat());
    if (_record != nullptr)
        _record->problem = problem;
    VXFailAssertion(problem);
}

bool VXEventRun::accepts(const Trigger &trigger, VXTriggerRecord &record)
{
    if (trigger.isEnabled)
        return !trigger.usesFilter || passesFilter(*trigger.object, record);
    VXTraceEvent(u"Trigger is disabled: "_s + trigger.object->objectID().uriRepresentation().toString());
    record.outcome = VXTriggerRecord::Outcome::Disabled;
    return false;
}

bool VXEventRun::passesFilter(const VXManagedObject &trigger, VXTriggerRecord &record)
{
    const VXFilterVerdict verdict = VXApplyTriggerFilter(trigger, _object);
    const auto predicate = [&] { return verdict.predicate ? verdict.predicate->predicateFormat() : QString(); };
    if (_record != nullptr && _idleTriggers < mostIdleTriggers) {
        record.filter = predicate();
        if (verdict.kind == VXFilterVerdict::Kind::Rejected)
            record.problem = VXReasonForRejection(verdict, _object);
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
        record.name = nameOf(trigger);
        record.filter = predicate();
        record.problem = verdict.problem;
        reportFilter(record);
        return false;
    }
    return false;
}

void VXEventRun::runTrigger(const VXManagedObjectPtr &trigger, VXTriggerRecord &record)
{
    record.name = nameOf(*trigger);
    if (!_reactors.contains(trigger->objectID()))
        fetchReactors({trigger});
    const QList<VXManagedObjectPtr> reactors = _reactors.take(trigger->objectID());
    VXTraceEvent(u"Executing %1 reactors for trigger %2"_s.arg(reactors.size()).arg(_name));
    for (const VXManagedObjectPtr &reactor : reactors) {
        VXReactionRecord reaction;
        const Stopwatch watch;
        runReactor(*reactor, record, reaction);
        reaction.milliseconds = watch.milliseconds();
        record.reactions.append(reaction);
    }
}

void VXEventRun::runReactor(const VXManagedObject &reactor, VXTriggerRecord &trigger, VXReactionRecord &record)
{
    record.identifier = reactor.valueForKey(u"bundleIdentifier"_s).toString();
    VXTraceEvent(u"Executing "_s + VXDescription(record.identifier));
    const Reactor found = findReactor(record.identifier);
    if (found.proxy == nullptr) {
        VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogWarning,
                  u"Reactor plugin not found/enabled: "_s + VXDescription(record.identifier));
        record.outcome = VXReactionRecord::Outcome::Missing;
        return;
    }
    react(found, reactor.valueForKey(u"options"_s).toMap(), trigger, record);
}

void VXEventRun::react(const Reactor &reactor, const QVariantMap &userOptions, VXTriggerRecord &trigger,
                       VXReactionRecord &record)
{
    QVariantMap options = userOptions;
    const VXReactionScope scope;
    try {
        if (reactor.plugin == nullptr)
            (void)reactor.proxy->as<VXReactorPlugin>("reactorDefaults"); // which tells what it is instead
        options = reactor.plugin->reactorDefaults().value_or(QVariantMap());
        options.insert(userOptions);
        reactor.plugin->reactToEventWithName(_name, _subtype, _object, options);
        record.problems = scope.problems();
    } catch (...) {
        const VXThrown thrown = VXDescribeThrown();
        record.problems = scope.problems() << thrown.reason;
        reportThrown(reactor, thrown, options, trigger);
    }
    if (!record.problems.isEmpty())
        record.outcome = VXReactionRecord::Outcome::Failed;
}

// The registry of plugins belongs to the main thread.
VXEventRun::Reactor VXEventRun::findReactor(const QString &identifier)
{
    Reactor reactor;
    const bool isDone = VXMainThread::performAndWait([&] {
        VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
        if (proxy == nullptr || !proxy->isEnabled())
            return;
        reactor = {proxy, proxy->singleton(), dynamic_cast<VXReactorPlugin *>(proxy->singleton().get())};
    });
    return isDone ? reactor : Reactor();
}

void VXEventRun::reportThrown(const Reactor &reactor, const VXThrown &thrown, const QVariantMap &options,
                              const VXTriggerRecord &trigger)
{
    const QString identifier = reactor.proxy->identifier();
    VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogError,
              u"EXCEPTION: %1\nreactor: %2\noptions: %3"_s.arg(thrown.description, identifier, textOf(options)));
    QString name;
    if (reactor.plugin != nullptr)
        VXCallPlugin(*reactor.plugin, "reactorName", [&] { name = reactor.plugin->reactorName(); });
    VXApplication::sharedApplication().presentError(
        VXError(VXErrorDomain, VXErrorCouldNotExecute,
                {{VXLocalizedDescriptionKey, VXLocalizedString(u"Unable to execute \"%1\" in trigger \"%2\"."_s)
                                                 .arg(name.isNull() ? identifier : name, displayName(trigger))},
                 {VXLocalizedRecoverySuggestionKey, thrown.reason}}));
}

void VXEventRun::reportFilter(const VXTriggerRecord &trigger)
{
    VXLogFrom(VXInstanceOrigin(&_manager, operation), VXLogError,
              u"The filter of a trigger for %1 does not work: %2\nfilter: %3"_s.arg(_name, trigger.problem,
                                                                                    VXDescription(trigger.filter)));
    VXApplication::sharedApplication().presentError(
        VXError(VXErrorDomain, VXErrorCouldNotExecute,
                {{VXLocalizedDescriptionKey,
                  VXLocalizedString(u"Unable to apply the filter of trigger \"%1\"."_s).arg(displayName(trigger))},
                 {VXLocalizedRecoverySuggestionKey, trigger.problem}}));
}

QString VXEventRun::displayName(const VXTriggerRecord &trigger) const
{
    if (!trigger.name.isEmpty())
        return trigger.name;
    QString name; // none when no bundle lists the event any more
    const bool isAsked = VXMainThread::performAndWait([&] { name = _manager.localizedNameForEventName(_name); });
    return isAsked && !name.isEmpty() ? name : _name;
}
