#include "VXErrorText.h"
#include "VXEventArguments.h"
#include "VXExporterPlugin.h"
#include "VXFetchOptions.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXJSON.h"
#include "VXManagedObjectContext.h"
#include "VXNearestWord.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXPluginStores.h"
#include "VXReaction.h"
#include "VXReactorReport.h"
#include "VXRegularFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Null with a problem if there is no such exporter that can run.
std::shared_ptr<VXExporterPlugin> exporterForIdentifier(const VXPluginManager &manager, const QString &identifier,
                                                        QString *problem)
{
    VXPluginProxy *const proxy = VXReactorNamed(manager.exporterPlugins(), identifier, u"exporter"_s, problem);
    auto exporter = proxy != nullptr ? std::dynamic_pointer_cast<VXExporterPlugin>(proxy->singleton()) : nullptr;
    if (proxy != nullptr && !exporter)
        *problem = u"the exporter %1 is not loaded; \"vornix plugins info %1\" tells why"_s.arg(proxy->identifier());
    return exporter;
}

// What is exported, with the context to which stored objects belong.
struct Objects
{
    std::unique_ptr<VXManagedObjectContext> context = nullptr;
    QVariantList list = {};
};

std::optional<VXFetchRequest> requestFor(const VXHostOptions &options, const VXPersistentStoreCoordinator &coordinator,
                                         QString *problem)
{
    const QString entityName = options.operand(2);
    const VXEntityDescription *const entity = coordinator.model().entityForName(entityName);
    if (entity == nullptr) {
        QStringList names;
        for (const VXEntityDescription *const each : coordinator.model().entities())
            names.append(each->name());
        *problem = u"the store \"%1\" has no entity %2%3"_s.arg(options.operand(1), entityName,
                                                                VXDidYouMean(entityName, names));
        return std::nullopt;
    }
    VXFetchRequest request(*entity);
    *problem = VXReadFetchOptions(options, request);
    return problem->isNull() ? std::optional(request) : std::nullopt;
}

// Fetches objects of a store. @return the problem; null if there is none.
QString fetchObjects(const VXHostOptions &options, Objects &objects)
{
    QString problem;
    const auto coordinator = VXStoreForName(options.operand(1), &problem);
    const auto request = coordinator ? requestFor(options, *coordinator, &problem) : std::nullopt;
    if (!request)
        return problem;
    objects.context = std::make_unique<VXManagedObjectContext>(coordinator);
    VXError error;
    const auto found = objects.context->executeFetchRequest(*request, &error);
    if (!found)
        return VXErrorText(error);
    objects.list.reserve(found->size());
    for (const VXManagedObjectPtr &object : *found)
        objects.list.append(QVariant::fromValue(object));
    return {};
}

// The objects in a list, or in an answer of "devices do"; otherwise the value itself.
QJsonArray objectsIn(const QJsonValue &json)
{
    if (json.isArray())
        return json.toArray();
    const QJsonValue items = json[u"result"_s].isObject() ? json[u"result"_s][u"items"_s] : json[u"items"_s];
    return items.isArray() ? items.toArray() : QJsonArray{json};
}

// Reads objects from JSON in a file or on standard input. @return the problem; null if there is none.
QString readObjects(const VXHostOptions &options, Objects &objects)
{
    QString path = options.value(u"from"_s);
    if (path.startsWith(u'@') && !QFile::exists(path)) // as for commands that take JSON itself
        path.remove(0, 1);
    QFile file(path);
    QString reason;
    if (!(path == "-"_L1 ? file.open(stdin, QIODevice::ReadOnly) : VXRegularFile::open(file, &reason)))
        return u"%1 cannot be read: %2"_s.arg(path, reason.isNull() ? file.errorString() : reason);
    QString problem;
    const auto json = VXJSONFromText(file.readAll(), &problem);
    if (!json)
        return u"--from: this is no JSON: "_s + problem;
    const QString where = options.value(u"where"_s);
    VXError error;
    const auto predicate = VXPredicate::predicateWithFormat(where.isNull() ? u"TRUEPREDICATE"_s : where, {}, &error);
    if (!predicate)
        return "--where: "_L1 + VXErrorText(error);
    if (const QStringList variables = predicate->variables(); !variables.isEmpty())
        return u"--where: $%1 has no value"_s.arg(variables.first());
    for (const QJsonValue each : objectsIn(*json)) {
        if (!each.isObject())
            return u"--from: \"%1\" is no JSON object"_s.arg(QString::fromUtf8(VXJSONText(each)));
        const QVariant object = VXVariantFromJSON(each);
        if (predicate->evaluateWithObject(object))
            objects.list.append(object);
    }
    return {};
}

bool isToOutput(const VXHostOptions &options)
{
    return options.value(u"to"_s) == "-"_L1;
}

// The user's options for this export; the file takes precedence over an option of that name.
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

// Writes the exported bytes to standard output.
int answerFile(VXHostContext &context, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) && file.exists()) // an export of nothing may not make a file
        return context.output.fail(file.errorString());
    context.output.answerBytes(file.readAll());
    return VXHostOutput::Done;
}

// Interpreted like the exporters that ship with the program do it.
bool appends(const QVariantMap &given)
{
    static const QStringList no{u"false"_s, u"no"_s, u"0"_s, QString()};
    return !given.contains(u"append"_s) || !no.contains(given.value(u"append"_s).toString().toLower());
}

// When exporting to standard output, nobody knows the temporary file.
QString textOf(const VXError &failure, const VXHostOptions &options)
{
    if (!isToOutput(options))
        return VXErrorText(failure);
    QVariantMap info = failure.userInfo();
    info.remove(VXFilePathErrorKey);
    return VXErrorText({failure.domain(), failure.code(), info});
}

int exportObjects(VXHostContext &context, const VXPluginManager &manager, QVariantMap given)
{
    const VXHostOptions &options = context.options;
    QString problem;
    const auto exporter = exporterForIdentifier(manager, options.operand(0), &problem);
    if (exporter) {
        const QVariant path = given.value(VXExporterOptionsFilePathKey);
        VXLengthenKeys(exporter->bundle()->bundleIdentifier(), &given);
        given.insert(VXExporterOptionsFilePathKey, path);
        problem = VXProblemOfReactorOptions(*exporter, given);
    }
    if (!problem.isNull())
        return context.output.fail(problem);
    Objects objects;
    problem = options.isSet(u"from"_s) ? readObjects(options, objects) : fetchObjects(options, objects);
    if (!problem.isNull())
        return context.output.fail(problem);
    const QVariantList &list = objects.list;
    const QString path = given.value(VXExporterOptionsFilePathKey).toString();
    const bool isAppended = QFileInfo(path).size() > 0 && appends(given);
    std::optional<VXError> failure;
    const bool returned = VXCallPlugin(
        *exporter, "exportObjects:options:",
        [&] { failure = exporter->exportObjects(list, VXOptionsForReactor(*exporter, given)); }, &problem);
    if (!returned || failure)
        return context.output.fail(failure ? textOf(*failure, options) : problem);
    if (isToOutput(options))
        return answerFile(context, path);
    const QString count = list.size() == 1 ? u"1 object"_s : u"%1 objects"_s.arg(list.size());
    if (isAppended && (given.contains(u"columns"_s) || given.contains(u"separator"_s)))
        context.output.note(
            u"What %1 holds already decides about columns and their separator; columns that it lacked were "
            "added, and --option append=false begins it anew"_s.arg(path));
    context.output.answer((isAppended ? u"Appended %1 to %2.\n"_s : u"Exported %1 to %2.\n"_s).arg(count, path),
                          QJsonObject{{u"count"_s, list.size()}, {u"path"_s, path}, {u"appended"_s, isAppended}});
    return VXHostOutput::Done;
}

int runExport(VXHostContext &context)
{
    if (context.options.value(u"to"_s).isEmpty())
        return context.output.failUsage(u"export needs --to FILE"_s, VXHostUsage(context.options));
    const bool takesFile = context.options.isSet(u"from"_s);
    if (context.options.operands().size() != (takesFile ? 1 : 3))
        return context.output.failUsage(takesFile ? u"--from takes the place of STORE and ENTITY"_s
                                                  : u"export needs STORE and ENTITY, or --from FILE"_s,
                                        VXHostUsage(context.options));
    if (takesFile && context.options.isSet(u"sort"_s))
        return context.output.failUsage(u"--sort does not go with --from"_s, VXHostUsage(context.options));
    if (isToOutput(context.options) && context.output.isJSON())
        return context.output.failUsage(u"--to - writes what the exporter makes, which is no JSON value"_s,
                                        VXHostUsage(context.options));
    QString problem;
    QVariantMap given = givenOptions(context.options, &problem);
    if (!problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(context.options));
    const QTemporaryDir folder; // because exporters write files
    if (isToOutput(context.options))
        given.insert(VXExporterOptionsFilePathKey, folder.filePath(u"export"_s));
    return VXRunWithPlugins(context, [&](VXPluginManager &manager) { return exportObjects(context, manager, given); });
}

} // namespace

VXHostCommand VXExportCommand()
{
    return {
        .name = u"export"_s,
        .summary = u"Export objects of a store, or what a phone gave, to a file"_s,
        .synopsis = u"EXPORTER [STORE ENTITY]"_s,
        .details =
            u"EXPORTER is the identifier of an exporter plugin (\"vornix exporters\"), or its last part; STORE the "
            "name of a data plugin's store, ENTITY one of its entities. The exporters that ship append to a file of "
            "their "
            "format that is there already; --option append=false replaces what it holds. For example: vornix export "
            "csvexporter calls VXCall --where 'duration > 60' --to calls.csv\nWith --from the objects are those of "
            "a JSON array, or of what a device answered. For example: vornix --json devices do URL read_contacts | "
            "vornix export vcardexporter --from - --to contacts.vcf"_s,
        .options = {{u"from"_s, u"FILE"_s, u"Export the objects in this JSON file; - is standard input"_s},
                    {u"where"_s, u"PREDICATE"_s, u"Export only objects that it describes"_s},
                    {u"sort"_s, u"KEY[:desc]"_s, u"Sort by these keys, separated by commas"_s},
                    {u"to"_s, u"FILE"_s, u"The file to export to, - for standard output; needed"_s},
                    {u"option"_s,
                     u"KEY=VALUE"_s,
                     u"An option of the exporter; may be repeated"_s,
                     {},
                     {},
                     true,
                     u"options"_s}},
        .minimumOperands = 1,
        .maximumOperands = 3,
        .operandKinds = {u"exporters"_s, u"stores"_s, u"entities"_s},
        .run = runExport};
}
