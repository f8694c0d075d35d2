#include "VXCoreDataStore.h"
#include "VXDataManager.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginSession.h"
#include "VXPluginStores.h"
#include "VXSearchUpdate.h"
#include "VXStoresAtPath.h"
#include "VXStoreTransfer.h"
#include "VXStoreVerbs.h"

#include <QtCore/QFileInfo>

#include <algorithm>
#include <iterator>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

struct Verb : VXHostVerb
{
    int (*run)(VXStoreSession &session); // null: makes the store
    VXStoreUse use = VXStoreUse::Read;
};

const QString stores = u"stores"_s; // kinds of words
const QString entityNames = u"entities"_s;

const Verb verbs[] = {
    {{u"info"_s, u"PATH|NAME"_s, 1, 1, {stores}}, VXShowStoreInfo},
    {{u"entities"_s, u"PATH|NAME"_s, 1, 1, {stores}}, VXShowStoreEntities},
    {{u"list"_s, u"PATH|NAME ENTITY"_s, 2, 2, {stores, entityNames}}, VXListStoreObjects},
    {{u"insert"_s, u"PATH|NAME ENTITY JSON"_s, 3, 3, {stores, entityNames}}, VXInsertStoreObject, VXStoreUse::Change},
    {{u"update"_s, u"PATH|NAME URI JSON"_s, 3, 3, {stores}}, VXUpdateStoreObject, VXStoreUse::Change},
    {{u"delete"_s, u"PATH|NAME URI|ENTITY"_s, 2, 2, {stores}}, VXDeleteStoreObjects, VXStoreUse::Change},
    {{u"import"_s, u"PATH|NAME ENTITY FILE, or import NAME FOLDER"_s, 2, 3, {stores, entityNames}},
     VXImportStoreObjects,
     VXStoreUse::Change},
    {{u"new"_s, u"PATH"_s, 1, 1, {u"files"_s}}, nullptr, VXStoreUse::Change},
    {{u"check"_s, u"PATH|NAME"_s, 1, 1, {stores}}, VXCheckStore},
};

template <class Verbs>
bool has(const Verbs &table, const QString &name)
{
    return std::ranges::find(table, name, &VXHostVerb::name) != std::end(table);
}

// Including those for whole stores, but "import" only once.
QList<VXHostVerb> allVerbs()
{
    QList<VXHostVerb> all = VXHostVerbsOf(verbs);
    for (const VXHostVerb &verb : VXStoreTransferVerbs()) {
        if (!has(verbs, verb.name))
            all.append(verb);
    }
    return all;
}

// Whether a data plugin's store is meant, not a file: a name without folder and extension. A folder with that name that
// contains no store does not hide one.
bool isStoreName(const QString &path)
{
    const bool isWord = !path.contains(u'/') && !path.contains(u'.');
    return isWord && (!QFileInfo::exists(path) ||
                      (QFileInfo(path).isDir() && VXCoreDataStore::storeClass().dataFilesForStorePath(path).isEmpty()));
}

// A store is checked in its present state: its plugin would upgrade it first, and may be unable to do so before it is
// repaired.
QString placeToCheck(const QString &name)
{
    const QString place = VXDataManager::sharedDataFolderPath() + u'/' + name + u'.' + VXStoreFileExtension;
    return QFileInfo(place).isDir() ? place : name;
}

// What is wrong with the command line; null if nothing is.
QString misuse(const Verb &verb, const VXHostOptions &options)
{
    const bool namesEntity = verb.run == VXDeleteStoreObjects && !options.isSet(u"where"_s) &&
                             !options.operand(2).isEmpty() && !options.operand(2).contains(u'/');
    if (namesEntity)
        return u"an entity goes with --where: delete PATH %1 --where PREDICATE; \"--where TRUEPREDICATE\" deletes all"_s
            .arg(options.operand(2));
    for (const QString &option : {u"dry-run"_s, u"merge"_s, u"replace"_s, u"backup"_s, u"yes"_s}) {
        if (options.isSet(option)) // options for the verbs that work on a plugin's store as a whole
            return u"--%1 goes with import NAME FOLDER, not with a file"_s.arg(option);
    }
    if (verb.run == nullptr && !options.isSet(u"model"_s))
        return u"new needs --model"_s;
    return verb.run != nullptr && options.isSet(u"model"_s) && isStoreName(options.operand(1))
               ? u"--model goes with a PATH: the store %1 has the model of its plugin"_s.arg(options.operand(1))
               : QString();
}

int makeStore(VXHostContext &context)
{
    const QString path = context.options.operand(1);
    const QString type = context.options.isSet(u"type"_s) ? context.options.value(u"type"_s) : u"sqlite"_s;
    QString problem;
    if (!VXMakeStoreFolder(path, context.options.value(u"model"_s), type, &problem))
        return context.output.fail(problem);
    context.output.answer(u"Made %1.\n"_s.arg(path), path);
    return VXHostOutput::Done;
}

int runStore(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const bool isPlace = options.operand(1).contains(u'/') || options.operand(1).contains(u'.');
    const bool importsFile = options.verb() == "import"_L1 && options.operands().size() == 4;
    const bool isTransfer = !importsFile && has(VXStoreTransferVerbs(), options.verb());
    if (isTransfer && isPlace)
        return context.output.failUsage(
            options.verb() == "import"_L1
                ? u"import needs PATH, ENTITY and FILE; without ENTITY it takes the NAME of a plugin's store"_s
                : u"%1 takes the NAME of a plugin's store, and no PATH"_s.arg(options.verb()),
            VXHostUsage(options));
    if (isTransfer)
        return VXRunStoreTransfer(context);
    const Verb &verb = options.verbIn(verbs);
    if (const QString problem = misuse(verb, context.options); !problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(context.options));
    if (verb.run == nullptr)
        return makeStore(context);
    const QString named = context.options.operand(1);
    const QString path = verb.run == VXCheckStore && isStoreName(named) ? placeToCheck(named) : named;
    const auto runVerb = [&](const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &problem) {
        if (!coordinator)
            return context.output.fail(problem);
        VXStoreSession session{context, coordinator};
        return verb.run(session);
    };
    QString problem;
    if (isStoreName(path))
        return VXRunWithPlugins(context,
                                [&](VXPluginManager &) { return runVerb(VXStoreForName(path, &problem), problem); });
    const VXStoreUse use = context.options.isSet(u"mend"_s) ? VXStoreUse::Change : verb.use;
    std::optional<VXSavesLeftToSearch> saves;
    if (use == VXStoreUse::Change)
        saves.emplace(QFileInfo(path).isDir() ? path : QFileInfo(path).absolutePath());
    return runVerb(VXOpenStores(path, context.options.value(u"model"_s), use, &problem), problem);
}

} // namespace

VXHostCommand VXStoreCommand()
{
    return {
        .name = u"store"_s,
        .summary = u"Look into stores, and change and check them"_s,
        .details =
            u"PATH is a store folder (.vxdatastore), or a data file (.sqlite, .xml) with its model beside it or in "
            "--model. NAME is the store of a data plugin, as in: vornix store list calls VXCall. \"info\" shows what "
            "the store tells of itself, \"entities\" which kinds of objects it holds. "
            "\"check\" looks for damage, dangling references, inverses that do not fit and values of another kind than "
            "their attribute; with --mend it removes those references, turns those values into what says the same or, "
            "failing that, into the attribute's default value or none, and keeps what the store was. \"new\" makes a "
            "store folder.\n\n"
            "\"list PATH ENTITY\" shows objects; with --json in full. \"insert PATH ENTITY JSON\" and \"update PATH "
            "URI JSON\" set the attributes and relationships that the JSON object names: dates are texts in ISO "
            "8601, data is text in Base64, other objects are their URIs. In place of a URI the name that \"list\" "
            "shows will do, as in: vornix store update PATH Person/p1 '{\"name\": \"Jane\"}'. In place of JSON, @FILE "
            "reads a file, - standard input. \"delete PATH URI\" deletes an object, \"delete PATH ENTITY --where "
            "PREDICATE\" all that it describes. \"import PATH ENTITY FILE\" adds what a file holds, all of it or "
            "nothing: a JSON object in each line (.jsonl), or a table whose first line names the attributes (.csv).\n\n"
            "\"upgrade NAME\" brings a store of an older version of its plugin up to date, as the plugin does when it "
            "is loaded. \"import NAME FOLDER\" adds the objects of a store folder to the plugin's store, or has it "
            "replace that. \"export NAME FOLDER\" writes a copy. All work on what is there at one moment; upgrade and "
            "import say with --dry-run what they would do: how many objects of each entity there are, get a new one, "
            "or "
            "are left out; which attributes hooks change, and of how many; which attributes and relationships are "
            "dropped; and how many references lead to what is not copied. \"rollback NAME [FOLDER]\" takes back the "
            "store that was there "
            "before the last upgrade, merge or replacement, or the one in FOLDER; with --dry-run it lists those."_s,
        .options =
            {{u"where"_s, u"PREDICATE"_s, u"Only objects that it describes"_s, {}, {u"list"_s, u"delete"_s}},
             {u"sort"_s, u"KEY[:desc]"_s, u"Sort by these keys, separated by commas"_s, {}, {u"list"_s}},
             {u"columns"_s, u"NAME,..."_s, u"What the table shows, in that order"_s, {}, {u"list"_s}},
             {u"limit"_s, u"N"_s, u"List at most N objects; 0: all"_s, {}, {u"list"_s}},
             {u"offset"_s, u"N"_s, u"Leave out the first N"_s, {}, {u"list"_s}},
             {u"count"_s, {}, u"Only count them"_s, {}, {u"list"_s}},
             {u"related"_s, {}, u"With --json: the URIs of to-many relationships, not their number"_s, {}, {u"list"_s}},
             {u"mend"_s, {}, u"Set right the references and values that do not fit"_s, {}, {u"check"_s}},
             {u"model"_s,
              u"FILE"_s,
              u"The model: .vxmodel or .mom"_s,
              {},
              {u"info"_s, u"entities"_s, u"list"_s, u"insert"_s, u"update"_s, u"delete"_s, u"import"_s, u"new"_s,
               u"check"_s}},
             {u"type"_s,
              u"TYPE"_s,
              u"Type of a new data file: sqlite unless told otherwise"_s,
              {u"sqlite"_s, u"xml"_s},
              {u"new"_s}},
             {u"dry-run"_s, {}, u"Only say what would be done"_s, {}, {u"upgrade"_s, u"import"_s, u"rollback"_s}},
             {u"merge"_s, {}, u"Add the objects to those that are there"_s, {}, {u"import"_s}},
             {u"replace"_s, {}, u"Use the folder in place of the store, from the next start on"_s, {}, {u"import"_s}},
             {u"validate"_s, {}, u"Copy the objects as an upgrade does, instead of the file"_s, {}, {u"export"_s}},
             {u"backup"_s,
              u"FOLDER"_s,
              u"Where the old store goes, or a copy of it before an import"_s,
              {},
              {u"upgrade"_s, u"import"_s}},
             {u"yes"_s,
              {},
              u"Ask nothing: merge, replace, let the old store go to the trash"_s,
              {},
              {u"upgrade"_s, u"import"_s, u"export"_s, u"rollback"_s}}},
        .verbs = allVerbs(),
        .needsVerb = true,
        .run = runStore};
}
