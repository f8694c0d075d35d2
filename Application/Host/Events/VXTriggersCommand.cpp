#include "VXDiagnostics.h"
#include "VXEventArguments.h"
#include "VXExporterPlugin.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXSmartFilter.h"
#include "VXStoreAccess.h"
#include "VXStoreByName.h"
#include "VXTextTable.h"
#include "VXTriggerReport.h"

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QUrl>

#include <algorithm>
#include <iterator>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

using ObjectPtr = VXManagedObjectPtr;

const VXEntityDescription &triggerEntity(const VXManagedObjectContext &triggers)
{
    return *triggers.persistentStoreCoordinator()->model().entityForName(u"VXTrigger"_s);
}

// All, or those of one event, in the order in which they run.
std::optional<QList<ObjectPtr>> fetchTriggers(VXManagedObjectContext &triggers, const QString &event, VXError *error)
{
    VXFetchRequest request(triggerEntity(triggers));
    if (!event.isNull())
        request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"eventName"_s), VXPredicate::Operator::Equal,
                                                    VXExpression::constant(event));
    request.sortDescriptors = {{.key = u"eventName"_s}, {.key = u"index"_s}};
    request.prefetchedRelationships = {u"reactors"_s, u"filter"_s};
    const std::optional<VXFetchResult> found = triggers.executeFetchRequest(request, error);
    return found ? std::optional(QList<ObjectPtr>(found->begin(), found->end())) : std::nullopt;
}

int saved(VXHostContext &context, VXManagedObjectContext &triggers, const std::function<void()> &answer)
{
    VXError error;
    if (!triggers.save(&error))
        return context.output.fail(u"nothing was changed: %1"_s.arg(VXErrorText(error)));
    answer();
    return VXHostOutput::Done;
}

int list(VXHostContext &context, VXManagedObjectContext &triggers)
{
    VXError error;
    const std::optional<QList<ObjectPtr>> found = fetchTriggers(triggers, {}, &error);
    if (!found)
        return context.output.fail(VXErrorText(error));
    QJsonArray json;
    QList<QStringList> rows{VXTriggerReport::columnTitles()};
    for (const ObjectPtr &trigger : *found) {
        const VXTriggerReport report(*trigger);
        json.append(report.json());
        rows.append(report.columns());
    }
    context.output.answer(json.isEmpty() ? u"There are no triggers.\n"_s : VXTextTable(rows), json);
    return VXHostOutput::Done;
}

// -- Adding one

struct ReactorArgument
{
    QString identifier;
    QVariantMap options;
};

// The reactors with the options that follow each; `problem` is what is wrong with them.
QList<ReactorArgument> reactorArguments(const VXHostOptions &options, QString *problem)
{
    QList<ReactorArgument> reactors;
    for (const auto &[name, value] : options.occurrences()) {
        if (name == "reactor"_L1)
            reactors.append({value, {}});
        if (name != "option"_L1)
            continue;
        if (reactors.isEmpty())
            *problem = u"--option %1 stands before any --reactor"_s.arg(value);
        else
            VXReadReactorOption(value, &reactors.last().options, problem);
    }
    for (ReactorArgument &reactor : reactors) {
        const QString file = reactor.options.value(VXExporterOptionsFilePathKey).toString();
        if (!file.isEmpty() && !file.startsWith(u'~')) // from here, wherever the event will be posted
            reactor.options[VXExporterOptionsFilePathKey] = QDir::current().absoluteFilePath(file);
    }
    if (problem->isNull() && reactors.isEmpty())
        *problem = u"--reactor is missing"_s;
    return reactors;
}

// What keeps a plugin from being a reactor; null when nothing does.
QString problemOfReactor(const QString &identifier)
{
    const VXPluginProxy *const plugin = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    if (plugin == nullptr)
        return u"there is no plugin \"%1\"; \"vornix reactors\" shows those that react to events"_s.arg(identifier);
    const QString kind = plugin->pluginClassType();
    const bool isReactor = kind == VXPluginKind::Reactor || kind == VXPluginKind::Exporter;
    return isReactor ? QString() : u"the plugin \"%1\" does not react to events"_s.arg(identifier);
}

void addReactors(VXManagedObjectContext &triggers, const ObjectPtr &trigger, const QList<ReactorArgument> &reactors)
{
    for (int index = 0; index < reactors.size(); ++index) {
        const ObjectPtr record = triggers.insertNewObject(u"VXReactorRecord"_s);
        record->setValueForKey(index, u"index"_s);
        record->setValueForKey(reactors[index].identifier, u"bundleIdentifier"_s);
        if (!reactors[index].options.isEmpty())
            record->setValueForKey(reactors[index].options, u"options"_s);
        record->setValueForKey(QVariant::fromValue(trigger), u"trigger"_s);
    }
}

bool addFilter(VXManagedObjectContext &triggers, const ObjectPtr &trigger, const VXPredicate &predicate)
{
    const ObjectPtr object = triggers.insertNewObject(u"VXTriggerFilter"_s);
    auto *const filter = dynamic_cast<VXSmartFilter *>(object.get());
    if (filter == nullptr)
        return false;
    filter->setPredicate(predicate);
    trigger->setValueForKey(QVariant::fromValue(object), u"filter"_s);
    trigger->setValueForKey(true, u"useFilter"_s);
    return true;
}

int add(VXHostContext &context, VXManagedObjectContext &triggers)
{
    const VXHostOptions &options = context.options;
    QString problem;
    const QList<ReactorArgument> reactors = reactorArguments(options, &problem);
    const QString event = options.value(u"event"_s);
    if (event.isNull())
        problem = u"--event is missing"_s;
    if (!problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(options.command()));
    VXError error;
    std::optional<VXPredicate> predicate;
    if (const QString text = options.value(u"filter"_s); !text.isNull()) {
        predicate = VXPredicate::predicateWithFormat(text, {}, &error);
        if (!predicate)
            return context.output.fail(u"--filter: %1"_s.arg(VXErrorText(error)));
        if (const QStringList variables = predicate->variables(); !variables.isEmpty())
            return context.output.fail(u"--filter: the variable $%1 has no value"_s.arg(variables.constFirst()));
    }
    for (const ReactorArgument &reactor : reactors) {
        if (problem = problemOfReactor(reactor.identifier); !problem.isNull())
            return context.output.fail(problem);
    }
    const std::optional<QList<ObjectPtr>> others = fetchTriggers(triggers, event, &error);
    if (!others)
        return context.output.fail(VXErrorText(error));

    const ObjectPtr trigger = triggers.insertNewObject(u"VXTrigger"_s);
    trigger->setValueForKey(event, u"eventName"_s);
    trigger->setValueForKey(others->isEmpty() ? 0 : others->constLast()->valueForKey(u"index"_s).toInt() + 1,
                            u"index"_s);
    trigger->setValueForKey(options.value(u"name"_s), u"userName"_s);
    if (predicate && !addFilter(triggers, trigger, *predicate))
        return context.output.fail(u"the store's model has no filters"_s);
    addReactors(triggers, trigger, reactors);
    return saved(context, triggers, [&] {
        const VXTriggerReport report(*trigger);
        VXNoteUnlistedEvent(context, event);
        context.output.answer(u"Added the trigger %1 for %2.\n"_s.arg(report.shortID(), event), report.json());
    });
}

// -- Of one trigger

int remove(VXHostContext &context, VXManagedObjectContext &triggers, const ObjectPtr &trigger)
{
    const VXTriggerReport report(*trigger);
    const QString text = u"Removed the trigger %1 (%2).\n"_s.arg(report.shortID(), report.title());
    const QJsonObject json = report.json();
    triggers.deleteObject(trigger);
    return saved(context, triggers, [&] { context.output.answer(text, json); });
}

int setEnabled(VXHostContext &context, VXManagedObjectContext &triggers, const ObjectPtr &trigger, bool flag)
{
    trigger->setValueForKey(flag, u"isEnabled"_s);
    return saved(context, triggers, [&] {
        const VXTriggerReport report(*trigger);
        context.output.answer(
            u"%1 the trigger %2 (%3).\n"_s.arg(flag ? u"Enabled"_s : u"Disabled"_s, report.shortID(), report.title()),
            report.json());
    });
}

int enable(VXHostContext &context, VXManagedObjectContext &triggers, const ObjectPtr &trigger)
{
    return setEnabled(context, triggers, trigger, true);
}

int disable(VXHostContext &context, VXManagedObjectContext &triggers, const ObjectPtr &trigger)
{
    return setEnabled(context, triggers, trigger, false);
}

int test(VXHostContext &context, VXManagedObjectContext &, const ObjectPtr &trigger)
{
    QVariant object;
    QString problem;
    if (!VXReadEventObject(context.options, &object, &problem))
        return context.output.failUsage(problem, VXHostUsage(context.options.command()));
    QStringList lines;
    const QJsonObject json = VXTriggerReport(*trigger).test(object, &lines);
    context.output.answer(lines.join(u'\n') + u'\n', json);
    return VXHostOutput::Done;
}

// "p3", "3" or the whole URI. Null when the store has no such trigger.
ObjectPtr triggerWithID(VXManagedObjectContext &triggers, const QString &text)
{
    const VXPersistentStoreCoordinator &coordinator = *triggers.persistentStoreCoordinator();
    if (text.contains(u':')) {
        const VXManagedObjectID objectID = coordinator.objectIDForURIRepresentation(QUrl(text));
        const bool isTrigger = !objectID.isNull() && objectID.entity().isKindOfEntity(triggerEntity(triggers));
        return isTrigger ? triggers.existingObjectWithID(objectID) : ObjectPtr();
    }
    bool isNumber = false;
    const qint64 number = (text.startsWith(u'p') ? text.sliced(1) : text).toLongLong(&isNumber);
    if (!isNumber || number < 1)
        return {};
    for (const VXPersistentStoreCoordinator::StorePtr &store : coordinator.persistentStores()) {
        if (const ObjectPtr found = triggers.existingObjectWithID({triggerEntity(triggers), store->identity(), number}))
            return found;
    }
    return {};
}

// -- The command

struct Verb
{
    QString name;
    int (*run)(VXHostContext &context, VXManagedObjectContext &triggers);
    int (*runWithTrigger)(VXHostContext &context, VXManagedObjectContext &triggers, const ObjectPtr &trigger);
    QStringList options = {}; // of its own
};

const Verb verbs[] = {
    {u"list"_s, list, nullptr},
    {u"add"_s, add, nullptr, {u"event"_s, u"name"_s, u"filter"_s, u"reactor"_s, u"option"_s}},
    {u"remove"_s, nullptr, remove},
    {u"enable"_s, nullptr, enable},
    {u"disable"_s, nullptr, disable},
    {u"test"_s, nullptr, test, {u"object"_s}},
};

QStringList verbNames()
{
    QStringList names;
    std::ranges::transform(verbs, std::back_inserter(names), &Verb::name);
    return names;
}

// Null when nothing is wrong.
QString usageProblem(const VXHostOptions &options, const Verb &verb)
{
    if (verb.runWithTrigger != nullptr && options.operand(1).isNull())
        return u"%1 needs ID"_s.arg(verb.name);
    if (verb.run != nullptr && !options.operand(1).isNull())
        return u"%1 takes nothing more"_s.arg(verb.name);
    for (const VXHostOption &option : options.command()->options) {
        if (options.isSet(option.name) && !verb.options.contains(option.name))
            return u"--%1 does not go with %2"_s.arg(option.name, verb.name);
    }
    return {};
}

int runTriggers(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const QString name = options.operands().value(0, verbs[0].name);
    const Verb &verb = *std::ranges::find(verbs, name, &Verb::name);
    if (const QString problem = usageProblem(options, verb); !problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(options.command()));
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        QString problem;
        const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(u"triggers"_s, &problem);
        if (!coordinator)
            return context.output.fail(problem);
        VXManagedObjectContext triggers(coordinator);
        if (verb.run != nullptr)
            return verb.run(context, triggers);
        const ObjectPtr trigger = triggerWithID(triggers, options.operand(1));
        if (!trigger)
            return context.output.fail(
                u"there is no trigger \"%1\"; \"vornix triggers\" shows those there are"_s.arg(options.operand(1)));
        return verb.runWithTrigger(context, triggers, trigger);
    });
}

} // namespace

VXHostCommand VXTriggersCommand()
{
    return {
        .name = u"triggers"_s,
        .summary = u"Show and change what happens on events"_s,
        .synopsis = u"[list|add|remove|enable|disable|test] [ID]"_s,
        .details =
            u"A trigger runs reactors, in order, when an event is posted whose object its filter lets pass. "
            "\"list\" shows all; \"add\" makes one, which runs after those of the same event; \"test ID\" tells "
            "whether the filter lets an object pass and what would run, and runs nothing. ID is as \"list\" "
            "shows it.\n"
            "An --option belongs to the --reactor before it. A value that is a list or an object in JSON is "
            "taken as such, any other as text. A relative path of a file to export to counts from the current folder.\n"
            "Example: vornix triggers add --event incoming_call --filter 'from CONTAINS \"Jane\"' "
            "--reactor com.halvern.VNX2.plugin.runcommand --option program=/home/me/jane.sh"_s,
        .options = {{u"event"_s, u"NAME"_s, u"add: the event to listen to; needed"_s},
                    {u"name"_s, u"TEXT"_s, u"add: what to call the trigger"_s},
                    {u"filter"_s, u"PREDICATE"_s, u"add: what the event's object must satisfy"_s},
                    {u"reactor"_s, u"ID"_s, u"add: a reactor plugin to run; needed, may be repeated"_s},
                    {u"option"_s, u"KEY=VALUE"_s, u"add: for the reactor before it; may be repeated"_s},
                    {u"object"_s, u"JSON"_s, u"test: the event's object; none without"_s}},
        .minimumOperands = 0,
        .maximumOperands = 2,
        .firstOperands = verbNames(),
        .run = runTriggers};
}
