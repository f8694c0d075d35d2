#include "VXEventArguments.h"
#include "VXEventKeys.h"
#include "VXEventReport.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXObjectNames.h"
#include "VXPluginSession.h"

using namespace Qt::StringLiterals;

namespace {

int post(VXHostContext &context, QVariant object)
{
    const VXHostOptions &options = context.options;
    const QString name = options.operand(0);
    VXPluginObject stored;
    if (options.isSet(u"object-uri"_s)) {
        QString problem;
        stored = VXPluginObject::named(options.value(u"object-uri"_s), &problem);
        if (!stored.object)
            return context.output.fail(problem);
        object = QVariant::fromValue(stored.object);
    }
    VXNoteUnlistedEvent(context, name);
    VXNoteUnlistedSubtype(context, name, options.value(u"subtype"_s));
    if (const QString doubt = VXDoubtOfObject(object.toMap(), name); !doubt.isNull())
        context.output.note(doubt);
    const VXEventRecord record = VXPostAndAwait({name, options.value(u"subtype"_s), object});
    return VXReportEvent(context, record, options.isSet(u"trace"_s));
}

int runPost(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const QString usage = VXHostUsage(options);
    if (options.isSet(u"object"_s) && options.isSet(u"object-uri"_s))
        return context.output.failUsage(u"an event has one object: --object or --object-uri"_s, usage);
    QVariant object;
    QString problem;
    if (!VXReadEventObject(options, &object, &problem))
        return context.output.failUsage(problem, usage);
    return VXRunWithPlugins(context, [&](VXPluginManager &) { return post(context, object); });
}

} // namespace

VXHostCommand VXPostCommand()
{
    return {.name = u"post"_s,
            .summary = u"Post an event, so that its triggers run"_s,
            .synopsis = u"EVENT"_s,
            .details =
                u"Does what happens when a plugin posts the event: every trigger for it is looked at, and the reactors "
                "of those whose filters accept the object run, before the command ends; an interrupt ends what they "
                "run. Fails when a reactor failed, or a "
                "filter does not work. For example: vornix post incoming_call --subtype ended --object "
                "'{\"from\": \"Jane <555-0100>\"}'"_s,
            .options = {{u"subtype"_s, u"TEXT"_s, u"What further is to be said of the event"_s},
                        {u"object"_s, u"JSON"_s, u"What the event is about: dates as {\"$date\": ISO 8601}"_s},
                        {u"object-uri"_s, u"URI"_s,
                         u"The same, an object of a store, also by its short name as VXCall/p1"_s},
                        {u"trace"_s, {}, u"Tell why each trigger did or did not run"_s}},
            .minimumOperands = 1,
            .maximumOperands = 1,
            .operandKinds = {u"events"_s},
            .run = runPost};
}
