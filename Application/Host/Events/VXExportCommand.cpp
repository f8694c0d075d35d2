#include "VXEventArguments.h"
#include "VXExporterPlugin.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXReaction.h"
#include "VXStoreAccess.h"
#include "VXStoreByName.h"
#include "VXStoreQuery.h"

#include <QtCore/QDir>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// Null with a problem when there is no such exporter that could run.
std::shared_ptr<VXExporterPlugin> exporterForIdentifier(const VXPluginManager &manager, const QString &identifier,
                                                        QString *problem)
{
    VXPluginProxy *const proxy = manager.pluginWithIdentifier(identifier);
    const bool isExporter = proxy != nullptr && manager.exporterPlugins().contains(proxy);
    auto exporter = isExporter ? std::dynamic_pointer_cast<VXExporterPlugin>(proxy->singleton()) : nullptr;
    if (!exporter)
        *problem =
            isExporter
                ? u"the exporter %1 is not loaded; \"vornix plugins info %1\" tells why"_s.arg(identifier)
                : u"there is no enabled exporter \"%1\"; \"vornix exporters\" shows those there are"_s.arg(identifier);
    return exporter;
}

std::optional<VXFetchRequest> requestFor(const VXHostOptions &options, const VXPersistentStoreCoordinator &coordinator,
                                         QString *problem)
{
    const QString entityName = options.operand(2);
    const VXEntityDescription *const entity = coordinator.model().entityForName(entityName);
    if (entity == nullptr) {
        *problem = u"the store \"%1\" has no entity %2"_s.arg(options.operand(1), entityName);
        return std::nullopt;
    }
    VXFetchRequest request(*entity);
    *problem = VXReadStoreQuery(options, request);
    return problem->isNull() ? std::optional(request) : std::nullopt;
}

// What the user says for this export; the file wins over an option of that name.
QVariantMap givenOptions(const VXHostOptions &options, QString *problem)
{
    QVariantMap given;
    for (const auto &[name, value] : options.occurrences()) {
        if (name == "option"_L1)
            VXReadReactorOption(value, &given, problem);
    }
    given.insert(VXExporterOptionsFilePathKey, QDir::current().absoluteFilePath(options.value(u"to"_s)));
    return given;
}

int exportObjects(VXHostContext &context, const VXPluginManager &manager, const QVariantMap &given)
{
    const VXHostOptions &options = context.options;
    QString problem;
    const auto exporter = exporterForIdentifier(manager, options.operand(0), &problem);
    if (exporter)
        problem = VXProblemOfReactorOptions(*exporter, given);
    if (!problem.isNull())
        return context.output.fail(problem);
    const auto coordinator = exporter ? VXStoreForName(options.operand(1), &problem) : nullptr;
    const auto request = coordinator ? requestFor(options, *coordinator, &problem) : std::nullopt;
    if (!request)
        return context.output.fail(problem);
    VXManagedObjectContext objects(coordinator);
    VXError error;
    const auto found = objects.executeFetchRequest(*request, &error);
    if (!found)
        return context.output.fail(VXErrorText(error));
    QVariantList list;
    list.reserve(found->size());
    for (const VXManagedObjectPtr &object : *found)
        list.append(QVariant::fromValue(object));
    std::optional<VXError> failure;
    const bool returned = VXCallPlugin(
        *exporter, "exportObjects:options:",
        [&] { failure = exporter->exportObjects(list, VXOptionsForReactor(*exporter, given)); }, &problem);
    if (!returned || failure)
        return context.output.fail(failure ? VXErrorText(*failure) : problem);
    const QString path = given.value(VXExporterOptionsFilePathKey).toString();
    const QString count = list.size() == 1 ? u"1 object"_s : u"%1 objects"_s.arg(list.size());
    context.output.answer(u"Exported %1 to %2.\n"_s.arg(count, path),
                          QJsonObject{{u"count"_s, list.size()}, {u"path"_s, path}});
    return VXHostOutput::Done;
}

int runExport(VXHostContext &context)
{
    if (context.options.value(u"to"_s).isEmpty())
        return context.output.failUsage(u"export needs --to FILE"_s, VXHostUsage(context.options.command()));
    QString problem;
    const QVariantMap given = givenOptions(context.options, &problem);
    if (!problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(context.options.command()));
    return VXRunWithPlugins(context, [&](VXPluginManager &manager) { return exportObjects(context, manager, given); });
}

} // namespace

VXHostCommand VXExportCommand()
{
    return {.name = u"export"_s,
            .summary = u"Export objects of a store to a file"_s,
            .synopsis = u"EXPORTER STORE ENTITY"_s,
            .details =
                u"EXPORTER is the identifier of an exporter plugin (\"vornix exporters\"), STORE the name of a data "
                "plugin's store, ENTITY one of its entities. The exporters that ship append to a file that is there "
                "already; --option append=false replaces what it holds. For example: vornix export "
                "com.halvern.VNX2.plugin.csvexporter calls VXCall --where 'duration > 60' --to calls.csv"_s,
            .options = {{u"where"_s, u"PREDICATE"_s, u"Export only objects that it describes"_s},
                        {u"sort"_s, u"KEY[:desc]"_s, u"Sort by these keys, separated by commas"_s},
                        {u"to"_s, u"FILE"_s, u"The file to export to; needed"_s},
                        {u"option"_s, u"KEY=VALUE"_s, u"An option of the exporter; may be repeated"_s}},
            .minimumOperands = 3,
            .maximumOperands = 3,
            .run = runExport};
}
