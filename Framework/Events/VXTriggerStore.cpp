#include "VXTriggerStore.h"

#include "VXDataManager.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXReactorPlugin.h"
#include "VXSmartFilter.h"
#include "VXTriggerFilter.h"

#include <QtCore/QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString filterEntity = u"VXTriggerFilter"_s;
const QString filterKey = u"filter"_s;
const QString useFilterKey = u"useFilter"_s;
const QString reactorEntity = u"VXReactorRecord"_s;
const QString triggerKey = u"trigger"_s;

bool refuse(VXError *error, const QString &reason)
{
    VXSetError(error, VXMakeError(reason));
    return false;
}

const VXEntityDescription &triggerEntity(const VXManagedObjectContext &context)
{
    return *context.persistentStoreCoordinator()->model().entityForName(VXTrigger::entityName);
}

// Null when the reaction can run.
QString problemOf(const VXTriggerChange::Reaction &reaction)
{
    const VXPluginProxy *const plugin =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(reaction.identifier);
    if (plugin == nullptr)
        return VXLocalizedString(u"There is no plugin \"%1\"."_s).arg(reaction.identifier);
    const QString kind = plugin->pluginClassType();
    if (kind != VXPluginKind::Reactor && kind != VXPluginKind::Exporter)
        return VXLocalizedString(u"The plugin \"%1\" does not react to events."_s).arg(reaction.identifier);
    const VXPluginProxy::Instance instance = plugin->singleton(); // without an instance it can be set up all the same
    const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(instance.get());
    return reactor != nullptr ? VXProblemOfReactorOptions(*reactor, reaction.options) : QString();
}

QString problemOfFilter(const QString &text)
{
    VXError error;
    const std::optional<VXPredicate> predicate = VXPredicate::predicateWithFormat(text, {}, &error);
    if (!predicate)
        return error.localizedText();
    const QStringList variables = predicate->variables();
    return variables.isEmpty()
               ? VXProblemOfPatterns(*predicate)
               : VXLocalizedString(u"The variable \"%1\" of the filter has no value."_s).arg(variables.constFirst());
}

} // namespace

std::unique_ptr<VXTriggerStore> VXTriggerStore::open(VXError *error)
{
    QString problem;
    VXDataManager &data = VXDataManager::sharedDataManager();
    if (const auto coordinator = data.findCoordinatorForDataStore(VXTrigger::storeName, &problem))
        return std::make_unique<VXTriggerStore>(coordinator);
    refuse(error, !problem.isNull() ? problem : VXLocalizedString(u"No enabled plugin has the store \"triggers\"."_s));
    return nullptr;
}

VXTriggerStore::VXTriggerStore(const VXPersistentStoreCoordinator::Ptr &coordinator) : _context(coordinator) {}

std::optional<QList<VXTrigger>> VXTriggerStore::triggers(const QString &event, VXError *error) const
{
    VXFetchRequest request(triggerEntity(_context));
    if (!event.isNull())
        request.predicate = VXPredicate::comparison(VXExpression::keyPath(VXTrigger::eventNameKey),
                                                    VXPredicate::Operator::Equal, VXExpression::constant(event));
    request.sortDescriptors = {{.key = VXTrigger::eventNameKey}, {.key = VXTrigger::indexKey}};
    request.prefetchedRelationships = {u"reactors"_s, filterKey};
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<VXTrigger> triggers;
    for (const VXManagedObjectPtr &record : *found)
        triggers.append(VXTrigger(record));
    return triggers;
}

VXTrigger VXTriggerStore::triggerWithID(const QString &text, VXError *error) const
{
    const VXPersistentStoreCoordinator &coordinator = *_context.persistentStoreCoordinator();
    const VXEntityDescription &entity = triggerEntity(_context);
    if (text.contains(u':')) {
        const VXManagedObjectID objectID = coordinator.objectIDForURIRepresentation(QUrl(text));
        if (!objectID.isNull() && objectID.entity().isKindOfEntity(entity))
            return VXTrigger(_context.existingObjectWithID(objectID));
    }
    bool isNumber = false;
    const qint64 number = (text.startsWith(u'p') ? text.sliced(1) : text).toLongLong(&isNumber);
    for (const VXPersistentStoreCoordinator::StorePtr &store : coordinator.persistentStores()) {
        const VXManagedObjectPtr found = isNumber && number > 0
                                             ? _context.existingObjectWithID({entity, store->identity(), number})
                                             : VXManagedObjectPtr();
        if (found)
            return VXTrigger(found);
    }
    QList<VXTrigger> named = triggers({}, error).value_or(QList<VXTrigger>());
    named.removeIf([&](const VXTrigger &trigger) {
        return text.isEmpty() || trigger.userName().compare(text, Qt::CaseInsensitive) != 0;
    });
    if (named.size() > 1)
        refuse(error, VXLocalizedString(u"%1 triggers are called \"%2\"."_s).arg(named.size()).arg(text));
    return named.size() == 1 ? named.first() : VXTrigger();
}

bool VXTriggerStore::isAcceptable(const VXTriggerChange &change, VXError *error) const
{
    if (change.event && change.event->isEmpty())
        return refuse(error, VXLocalizedString(u"A trigger needs the name of an event."_s));
    if (change.filter && !change.filter->isEmpty()) {
        if (const QString problem = problemOfFilter(*change.filter); !problem.isNull())
            return refuse(error, VXLocalizedString(u"The filter does not work: %1"_s).arg(problem));
    }
    if (!change.reactions)
        return true;
    if (change.reactions->isEmpty())
        return refuse(error, VXLocalizedString(u"A trigger needs a reactor."_s));
    for (const VXTriggerChange::Reaction &reaction : *change.reactions) {
        if (const QString problem = problemOf(reaction); !problem.isNull())
            return refuse(error, reaction.identifier + ": "_L1 + problem);
    }
    return true;
}

std::optional<int> VXTriggerStore::nextIndex(const QString &event, VXError *error) const
{
    const std::optional<QList<VXTrigger>> others = triggers(event, error);
    if (!others)
        return std::nullopt;
    return others->isEmpty() ? 0 : others->constLast().index() + 1;
}

VXTrigger VXTriggerStore::add(const VXTriggerChange &change, VXError *error)
{
    VXTriggerChange whole = change;
    whole.event = change.event.value_or(QString());
    whole.reactions = change.reactions.value_or(QList<VXTriggerChange::Reaction>());
    const std::optional<int> index = isAcceptable(whole, error) ? nextIndex(*whole.event, error) : std::nullopt;
    if (!index)
        return {};
    VXTrigger trigger(_context.insertNewObject(VXTrigger::entityName));
    trigger.setIndex(*index);
    apply(trigger, whole);
    return trigger;
}

bool VXTriggerStore::change(VXTrigger &trigger, const VXTriggerChange &change, VXError *error)
{
    if (!isAcceptable(change, error))
        return false;
    if (change.event && *change.event != trigger.eventName()) { // goes after the triggers of its new event
        const std::optional<int> index = nextIndex(*change.event, error);
        if (!index)
            return false;
        trigger.setIndex(*index);
    }
    apply(trigger, change);
    return true;
}

void VXTriggerStore::apply(VXTrigger &trigger, const VXTriggerChange &change)
{
    if (change.event)
        trigger.setEventName(*change.event);
    if (change.name)
        trigger.setUserName(*change.name);
    if (change.isEnabled)
        trigger.setEnabled(*change.isEnabled);
    if (change.filter)
        setFilter(trigger, *change.filter);
    if (change.reactions)
        setReactions(trigger, *change.reactions);
}

void VXTriggerStore::setFilter(const VXTrigger &trigger, const QString &text)
{
    const auto old = trigger.record()->valueForKey(filterKey).value<VXManagedObjectPtr>();
    trigger.record()->setValueForKey(!text.isEmpty(), useFilterKey);
    if (old)
        _context.deleteObject(old);
    if (text.isEmpty())
        return;
    const VXManagedObjectPtr object = _context.insertNewObject(filterEntity);
    dynamic_cast<VXSmartFilter &>(*object).setPredicate(*VXPredicate::predicateWithFormat(text));
    trigger.record()->setValueForKey(QVariant::fromValue(object), filterKey);
}

void VXTriggerStore::setReactions(const VXTrigger &trigger, const QList<VXTriggerChange::Reaction> &reactions)
{
    for (const VXReaction &old : trigger.reactions())
        _context.deleteObject(old.record());
    for (int index = 0; index < reactions.size(); ++index) {
        VXReaction reaction(_context.insertNewObject(reactorEntity));
        reaction.setIndex(index);
        reaction.setBundleIdentifier(reactions[index].identifier);
        reaction.setUserOptions(reactions[index].options);
        reaction.record()->setValueForKey(QVariant::fromValue(trigger.record()), triggerKey);
    }
}

// A trigger that could not be added now, for example because a plugin is missing, may be copied; but no copy runs for
// more events than the original.
VXTrigger VXTriggerStore::copy(const VXTrigger &trigger, VXError *error)
{
    VXError problem;
    const std::optional<VXPredicate> filter = trigger.filter(&problem);
    const std::optional<int> index = problem ? std::nullopt : nextIndex(trigger.eventName(), &problem);
    if (!index) {
        VXSetError(error, problem);
        return {};
    }
    QList<VXTriggerChange::Reaction> reactions;
    for (const VXReaction &reaction : trigger.reactions())
        reactions.append({reaction.bundleIdentifier(), reaction.userOptions()});
    VXTrigger copy(_context.insertNewObject(VXTrigger::entityName));
    copy.setIndex(*index);
    apply(copy, {.event = trigger.eventName(),
                 .name = trigger.userName(),
                 .filter = filter ? filter->predicateFormat() : QString(),
                 .isEnabled = trigger.isEnabled(),
                 .reactions = reactions});
    return copy;
}

void VXTriggerStore::remove(const VXTrigger &trigger)
{
    _context.deleteObject(trigger.record());
}

bool VXTriggerStore::move(VXTrigger &trigger, qsizetype place, VXError *error)
{
    std::optional<QList<VXTrigger>> all = triggers(trigger.eventName(), error);
    if (!all)
        return false;
    all->removeIf([&](const VXTrigger &other) { return other.record() == trigger.record(); });
    all->insert(std::clamp<qsizetype>(place - 1, 0, all->size()), trigger);
    for (int index = 0; index < all->size(); ++index) {
        if ((*all)[index].index() != index)
            (*all)[index].setIndex(index);
    }
    return true;
}
