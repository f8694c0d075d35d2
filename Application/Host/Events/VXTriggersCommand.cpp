#include "VXErrorText.h"
#include "VXEventArguments.h"
#include "VXEventKeys.h"
#include "VXExporterPlugin.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginManager.h"
#include "VXPluginReport.h"
#include "VXPluginSession.h"
#include "VXReactorReport.h"
#include "VXTextTable.h"
#include "VXTriggerReport.h"
#include "VXTriggerStore.h"

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

using Reaction = VXTriggerChange::Reaction;

int saved(VXHostContext &context, VXTriggerStore &triggers, const std::function<void()> &answer)
{
    VXError error;
    if (!triggers.save(&error))
        return context.output.fail(u"nothing was changed: %1"_s.arg(VXErrorText(error)));
    answer();
    return VXHostOutput::Done;
}

// "Enabled the trigger p3 (Calls of Jane)."
int savedTrigger(VXHostContext &context, VXTriggerStore &triggers, const QString &done, const VXTrigger &trigger)
{
    return saved(context, triggers, [&] {
        const VXTriggerReport report(trigger);
        context.output.answer(u"%1 the trigger %2 (%3).\n"_s.arg(done, trigger.shortID(), trigger.title()),
                              report.json());
    });
}

int list(VXHostContext &context, VXTriggerStore &triggers)
{
    VXError error;
    const std::optional<QList<VXTrigger>> found = triggers.triggers({}, &error);
    if (!found)
        return context.output.fail(VXErrorText(error));
    QJsonArray json;
    QList<QStringList> rows{VXTriggerReport::columnTitles()};
    for (const VXTrigger &trigger : *found) {
        const VXTriggerReport report(trigger);
        json.append(report.json());
        rows.append(report.columns());
    }
    context.output.answer(json.isEmpty()
                              ? u"There are no triggers.\n"_s
                              : VXFittingTable(context.output, rows, {u"FILTER"_s, u"NAME"_s, u"REACTORS"_s}),
                          json);
    return VXHostOutput::Done;
}

// -- Adding and changing

/** What the command line says about a trigger. */
struct Arguments
{
    VXTriggerChange change = {};
    QString misuse = {};  // what is wrong with the command line
    QString problem = {}; // why there is no such reactor
};

// An installed reactor may be set up before it is enabled. Null, with the problem, if it is not a reactor.
QString reactorIdentifier(VXHostContext &context, const QString &text, QString *problem)
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    QString reason;
    const QList<VXPluginProxy *> reactors = manager.reactorPlugins() + manager.exporterPlugins();
    if (const VXPluginProxy *const found = VXReactorNamed(reactors, text, u"reactor"_s, &reason))
        return found->identifier();
    const VXPluginProxy *const other = VXPluginNamed(manager, text);
    if (other != nullptr && !other->isEnabled()) {
        context.output.note(reason);
        return other->identifier();
    }
    *problem = reason;
    return {};
}

// The reactors with the options that follow each; options without a reactor change those of the edited trigger's only
// one.
QList<Reaction> reactionArguments(VXHostContext &context, const VXTrigger &edited, Arguments &arguments)
{
    QList<Reaction> reactions;
    const QList<VXReaction> present = edited.isNull() ? QList<VXReaction>() : edited.reactions();
    for (const auto &[name, value] : context.options.occurrences()) {
        if (name == "reactor"_L1)
            reactions.append({reactorIdentifier(context, value, &arguments.problem), {}});
        if (name != "option"_L1)
            continue;
        if (reactions.isEmpty() && present.size() == 1)
            reactions.append({present.first().bundleIdentifier(), present.first().userOptions()});
        if (reactions.isEmpty())
            arguments.misuse = u"--option %1 stands before any --reactor"_s.arg(value);
        else
            VXReadReactorOption(value, &reactions.last().options, &arguments.misuse);
    }
    for (Reaction &reaction : reactions) {
        VXLengthenKeys(reaction.identifier, &reaction.options);
        const QString file = reaction.options.value(VXExporterOptionsFilePathKey).toString();
        if (!file.isEmpty() && !file.startsWith(u'~')) // relative to this folder, wherever the event will be posted
            reaction.options[VXExporterOptionsFilePathKey] = QDir::current().absoluteFilePath(file);
    }
    return reactions;
}

std::optional<QString> given(const VXHostOptions &options, const QString &name)
{
    return options.isSet(name) ? std::optional(options.value(name)) : std::nullopt;
}

Arguments argumentsOf(VXHostContext &context, const VXTrigger &edited = {})
{
    const VXHostOptions &options = context.options;
    Arguments arguments{.change = {.event = given(options, u"event"_s),
                                   .name = given(options, u"name"_s),
                                   .filter = given(options, u"filter"_s)}};
    if (options.isSet(u"no-filter"_s))
        arguments.change.filter = QString();
    if (const QList<Reaction> reactions = reactionArguments(context, edited, arguments); !reactions.isEmpty())
        arguments.change.reactions = reactions;
    return arguments;
}

// The error names a reactor's option or a filter; for options, this adds how to list them.
int refused(VXHostContext &context, const VXTriggerChange &change, const VXError &error)
{
    const QString text = VXErrorText(error);
    const QList<Reaction> reactions = change.reactions.value_or(QList<Reaction>());
    for (const Reaction &reaction : reactions) {
        if (text.startsWith(reaction.identifier))
            return context.output.fail(text +
                                       u" \"vornix reactors info %1\" shows what it takes."_s.arg(reaction.identifier));
    }
    return context.output.fail(text);
}

void noteDoubts(VXHostContext &context, const VXTrigger &trigger)
{
    VXNoteUnlistedEvent(context, trigger.eventName());
    if (const QString doubt = VXDoubtOfFilter(trigger.filterText(), trigger.eventName()); !doubt.isNull())
        context.output.note(doubt);
    for (const VXReaction &reaction : trigger.reactions()) {
        const QString doubt = VXDoubtOfOptions(
            reaction.userOptions(), VXReactorReport::optionsOf(reaction.bundleIdentifier()), trigger.eventName());
        if (!doubt.isNull())
            context.output.note(doubt);
    }
}

int add(VXHostContext &context, VXTriggerStore &triggers)
{
    Arguments arguments = argumentsOf(context);
    const VXTriggerChange &change = arguments.change;
    if (arguments.misuse.isNull() && !change.event)
        arguments.misuse = u"--event is missing"_s;
    if (arguments.misuse.isNull() && !change.reactions)
        arguments.misuse = u"--reactor is missing"_s;
    if (!arguments.misuse.isNull())
        return context.output.failUsage(arguments.misuse, VXHostUsage(context.options));
    if (!arguments.problem.isNull())
        return context.output.fail(arguments.problem);
    VXError error;
    const VXTrigger trigger = triggers.add(change, &error);
    if (trigger.isNull())
        return refused(context, change, error);
    return saved(context, triggers, [&] {
        const VXTriggerReport report(trigger);
        noteDoubts(context, trigger);
        context.output.answer(u"Added the trigger %1 for %2.\n"_s.arg(trigger.shortID(), *change.event), report.json());
    });
}

int edit(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger)
{
    Arguments arguments = argumentsOf(context, trigger);
    const VXTriggerChange &change = arguments.change;
    if (arguments.misuse.isNull() && !change.event && !change.name && !change.filter && !change.reactions)
        arguments.misuse = u"edit needs what to change"_s;
    if (!arguments.misuse.isNull())
        return context.output.failUsage(arguments.misuse, VXHostUsage(context.options));
    if (!arguments.problem.isNull())
        return context.output.fail(arguments.problem);
    VXError error;
    if (!triggers.change(trigger, change, &error))
        return refused(context, change, error);
    if (change.event || change.filter || change.reactions)
        noteDoubts(context, trigger);
    return savedTrigger(context, triggers, u"Changed"_s, trigger);
}

// -- Of one trigger

int show(VXHostContext &context, VXTriggerStore &, VXTrigger &trigger)
{
    const VXTriggerReport report(trigger);
    context.output.answer(report.lines().join(u'\n') + u'\n', report.json());
    return VXHostOutput::Done;
}

int remove(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger)
{
    const VXTriggerReport report(trigger);
    const QString text = u"Removed the trigger %1 (%2).\n"_s.arg(trigger.shortID(), trigger.title());
    const QJsonObject json = report.json();
    triggers.remove(trigger);
    return saved(context, triggers, [&] { context.output.answer(text, json); });
}

int enable(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger)
{
    trigger.setEnabled(true);
    return savedTrigger(context, triggers, u"Enabled"_s, trigger);
}

int disable(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger)
{
    trigger.setEnabled(false);
    return savedTrigger(context, triggers, u"Disabled"_s, trigger);
}

int move(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger)
{
    const qsizetype place = context.options.value(u"place"_s).toLongLong();
    VXError error;
    if (!triggers.move(trigger, place, &error))
        return context.output.fail(VXErrorText(error));
    const qsizetype count = triggers.triggers(trigger.eventName()).value_or(QList<VXTrigger>()).size();
    return savedTrigger(context, triggers,
                        u"Moved to place %1 of %2:"_s.arg(std::min<qsizetype>(place, count)).arg(count), trigger);
}

int copy(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger)
{
    VXError error;
    const VXTrigger made = triggers.copy(trigger, &error);
    if (made.isNull())
        return context.output.fail(VXErrorText(error));
    return savedTrigger(context, triggers, u"Made"_s, made);
}

int test(VXHostContext &context, VXTriggerStore &, VXTrigger &trigger)
{
    QVariant object;
    QString problem;
    if (!VXReadEventObject(context.options, &object, &problem))
        return context.output.failUsage(problem, VXHostUsage(context.options));
    QStringList lines;
    const QJsonObject json = VXTriggerReport(trigger).test(object, &lines);
    context.output.answer(lines.join(u'\n') + u'\n', json);
    return VXHostOutput::Done;
}

// -- The command

struct Verb : VXHostVerb
{
    int (*run)(VXHostContext &context, VXTriggerStore &triggers);
    int (*runWithTrigger)(VXHostContext &context, VXTriggerStore &triggers, VXTrigger &trigger);
};

VXHostVerb ofTrigger(const QString &name)
{
    return {name, u"ID"_s, 1, 1, {u"triggers"_s}};
}

const Verb verbs[] = {
    {{u"list"_s}, list, nullptr},
    {{u"add"_s}, add, nullptr},
    {ofTrigger(u"show"_s), nullptr, show},
    {ofTrigger(u"edit"_s), nullptr, edit},
    {ofTrigger(u"move"_s), nullptr, move},
    {ofTrigger(u"copy"_s), nullptr, copy},
    {ofTrigger(u"remove"_s), nullptr, remove},
    {ofTrigger(u"enable"_s), nullptr, enable},
    {ofTrigger(u"disable"_s), nullptr, disable},
    {ofTrigger(u"test"_s), nullptr, test},
};

// Mistakes that can be found without looking at the triggers; null if there are none.
QString misuse(const Verb &verb, const VXHostOptions &options)
{
    return verb.runWithTrigger == move && options.value(u"place"_s).toLongLong() < 1
               ? u"move needs --place N, at least 1"_s
               : QString();
}

int runTriggers(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const Verb &verb = options.verbIn(verbs);
    if (const QString problem = misuse(verb, options); !problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(options));
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        VXError error;
        const std::unique_ptr<VXTriggerStore> triggers = VXTriggerStore::open(&error);
        if (!triggers)
            return context.output.fail(VXErrorText(error));
        if (verb.run != nullptr)
            return verb.run(context, *triggers);
        VXTrigger trigger = triggers->triggerWithID(options.operand(1), &error);
        if (error)
            return context.output.fail(VXErrorText(error));
        if (trigger.isNull())
            return context.output.fail(
                u"there is no trigger \"%1\"; \"vornix triggers\" shows those there are"_s.arg(options.operand(1)));
        return verb.runWithTrigger(context, *triggers, trigger);
    });
}

} // namespace

VXHostCommand VXTriggersCommand()
{
    return {
        .name = u"triggers"_s,
        .summary = u"Show and change what happens on events"_s,
        .otherNames = {u"automations"_s, u"rules"_s},
        .details =
            u"A trigger runs reactors, in order, when an event is posted whose object its filter lets pass. "
            "\"list\" shows all; \"add\" makes one, which runs after those of the same event; \"copy ID\" makes "
            "another "
            "like it; \"test ID\" tells whether the filter lets an object pass and what would run, runs nothing, and "
            "succeeds either way. \"edit ID\" changes what is given: --reactor takes the place of all reactors there "
            "are, "
            "--option without it changes an option of the only one, --no-filter takes the filter away. To take an "
            "option away, name its reactor again with the options that are to stay. \"move ID --place N\" makes it the "
            "Nth of its event. ID is as \"list\" shows it, or the name that only one has. \"vornix store export "
            "triggers\" writes all to a file.\n"
            "An --option belongs to the --reactor before it. A value that is a list or an object in JSON is "
            "taken as such, any other as text. \"file\" is short for the option \"VXExporterOptionsFilePath\" of "
            "exporters; a "
            "relative path counts from the current folder.\n"
            "Of a call or message the filter can ask for \"who\" and \"contact\" too, who the other party is by the "
            "phonebook: 'contact.company == \"Acme\"'; of lists, as groups and numbers, for one of them: 'ANY "
            "contact.groups.name == \"Family\"'.\n"
            "Example: vornix triggers add --event incoming_call --filter 'who CONTAINS \"Jane\"' "
            "--reactor runcommand --option program=/home/me/jane.sh"_s,
        .options = {{u"event"_s,
                     u"NAME"_s,
                     u"The event to listen to; needed"_s,
                     {},
                     {u"add"_s, u"edit"_s},
                     false,
                     u"events"_s},
                    {u"name"_s, u"TEXT"_s, u"What to call the trigger"_s, {}, {u"add"_s, u"edit"_s}},
                    {.name = u"filter"_s,
                     .placeholder = u"PREDICATE"_s,
                     .summary = u"What the event's object must satisfy; empty for nothing"_s,
                     .verbs = {u"add"_s, u"edit"_s},
                     .mayBeEmpty = true},
                    {u"no-filter"_s, {}, u"Let every object pass"_s, {}, {u"edit"_s}},
                    {u"reactor"_s,
                     u"ID"_s,
                     u"A reactor plugin to run, by its identifier or the last part of it; may be repeated"_s,
                     {},
                     {u"add"_s, u"edit"_s},
                     true,
                     u"reactors"_s},
                    {u"option"_s,
                     u"KEY=VALUE"_s,
                     u"For the reactor before it; may be repeated"_s,
                     {},
                     {u"add"_s, u"edit"_s},
                     true,
                     u"options"_s},
                    {u"place"_s, u"N"_s, u"Its place among those of the event, from 1"_s, {}, {u"move"_s}},
                    {u"object"_s, u"JSON"_s, u"The event's object; none without"_s, {}, {u"test"_s}}},
        .verbs = VXHostVerbsOf(verbs),
        .run = runTriggers};
}
