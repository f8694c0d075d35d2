#include "VXStoreTransfer.h"

#include "VXApplication.h"
#include "VXBundle.h"
#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXFolders.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMigrationReport.h"
#include "VXPluginManager.h"
#include "VXPluginPaths.h"
#include "VXPluginSession.h"
#include "VXPluginStores.h"
#include "VXShownDate.h"
#include "VXStorePast.h"
#include "VXStoresAtPath.h"
#include "VXTextTable.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

/** What a verb works with. */
struct Transfer
{
    VXHostContext &host;
    VXDataPlugin &plugin;
    QString name; // of the store

    bool isSet(const QString &option) const { return host.options.isSet(option); }
    QString path(const QString &text) const { return QDir::cleanPath(QFileInfo(text).absoluteFilePath()); }
    // Where a store is written: inside a folder that is not a store, otherwise at that path with the extension of
    // stores.
    QString place(const QString &text) const
    {
        const QFileInfo named(path(text));
        if (named.suffix() == VXStoreFileExtension)
            return named.filePath();
        if (named.isDir())
            return named.filePath() + u'/' + QFileInfo(plugin.dataStorePath()).fileName();
        return named.filePath() + u'.' + VXStoreFileExtension;
    }
    // A store to be read: its folder, or that name without the extension. Null if nothing is there, which was reported.
    QString source(const QString &text) const
    {
        const QString named = path(text);
        const QString extended = named + u'.' + VXStoreFileExtension;
        if (VXExistsAtPath(named) || VXExistsAtPath(extended))
            return VXExistsAtPath(named) ? named : extended;
        host.output.fail(named + " is not there"_L1);
        return {};
    }
    int fail(const VXError &error) const { return host.output.fail(VXErrorText(error)); }
};

// -- What became of the objects

int answer(const Transfer &transfer, const QString &text, const QString &action,
           const QList<VXEntityMigration> &entities, QJsonObject more = {})
{
    more.insert(u"store"_s, transfer.name);
    more.insert(u"action"_s, action);
    more.insert(u"entities"_s, VXJSONOfMigration(entities));
    transfer.host.output.answer(text + (entities.isEmpty() ? QString() : VXTextOfMigration(entities)), more);
    return VXHostOutput::Done;
}

// Hooks that omit an object to which others may lead want nothing saved. That counts as success, but readers of the
// answer must not take it for a copy.
QString reasonForNothing(const Transfer &transfer)
{
    return u"The plugin %1 leaves out objects that others may lead to, which ends the copy. It says of each entity:\n"_s
        .arg(transfer.plugin.identifier());
}

// The same for any store, which may be empty; null if something was copied.
QString reasonForNothing(const Transfer &transfer, VXCoreDataStore &source)
{
    if (!VXDataPlugin::holdsObjects(source))
        return VXTextOfMigration({});
    return transfer.plugin.hasSavedNothing() ? reasonForNothing(transfer) : QString();
}

// How to restore the previous store; it may not be in any list.
QString textOfWayBack(const Transfer &transfer, const QString &old)
{
    const QList<VXStorePast::Entry> earlier = transfer.plugin.earlierStores();
    const bool isListed = !earlier.isEmpty() && earlier.constFirst().path == old;
    return u"lies in %1; \"vornix store rollback %2%3\" brings it back"_s.arg(
        old, transfer.name, isListed ? QString() : u" '%1'"_s.arg(old));
}

int rehearse(const Transfer &transfer, const VXCoreDataStore::Ptr &source, bool isMerge)
{
    const VXError error = transfer.plugin.rehearse(source, isMerge);
    const QList<VXEntityMigration> &entities = transfer.plugin.lastMigration();
    if (error) {
        if (!entities.isEmpty()) // they may explain it
            answer(transfer, u"Nothing was changed, and this could not be saved:\n"_s, u"rehearsed"_s, entities,
                   {{u"error"_s, VXErrorText(error)}});
        return transfer.fail(error);
    }
    const QString reason = reasonForNothing(transfer, *source);
    return answer(transfer,
                  reason.isNull() ? u"Nothing was changed. This is what would be copied:\n"_s
                                  : u"Nothing was changed, and nothing would be copied. "_s + reason,
                  u"rehearsed"_s, entities, {{u"copiesNothing"_s, !reason.isNull()}});
}

bool agrees(const Transfer &transfer, const QString &question)
{
    if (transfer.isSet(u"yes"_s))
        return true;
    VXAlert alert;
    alert.message = question;
    alert.defaultButton = u"Replace"_s;
    alert.alternateButton = u"Cancel"_s;
    return VXApplication::sharedApplication().userInterface().runAlert(alert).button == VXAlertButton::Default;
}

bool mayReplace(const Transfer &transfer, const QString &place)
{
    return !VXExistsAtPath(place) || agrees(transfer, u"%1 exists. It would go to the trash."_s.arg(place));
}

// -- The verbs

// Whether the requested backup, if any, can be made at `place`; if not, the reason was reported.
bool canMakeBackup(const Transfer &transfer, const QString &place)
{
    if (place.isNull())
        return true;
    if (const VXError error = transfer.plugin.prepareBackupPlace(place)) {
        transfer.fail(error);
        return false;
    }
    if (mayReplace(transfer, place))
        return true;
    transfer.host.output.fail(u"nothing was changed; --yes agrees beforehand"_s);
    return false;
}

QString backupPlace(const Transfer &transfer)
{
    const QString backup = transfer.host.options.value(u"backup"_s);
    return backup.isNull() ? backup : transfer.place(backup);
}

// Another process may have settled it.
QString placeOfOldStore(const VXDataPlugin &plugin)
{
    const QList<VXStorePast::Entry> earlier = plugin.earlierStores(); // including one that is not settled
    const auto upgraded = std::ranges::find(earlier, "upgraded"_L1, &VXStorePast::Entry::reason);
    return plugin.oldStore().isNull() && upgraded != earlier.end() ? upgraded->path : plugin.oldStore();
}

// About a plugin that was installed while it was running, or that a dry run leaves where it is.
void tellOfWaitingPlugin(const Transfer &transfer)
{
    const QDir staging(VXPluginManager::sharedPluginManager().pathToInstallStagingFolder());
    for (const QString &name : staging.entryList({u"*.vxplugin"_s}, QDir::Dirs)) {
        const VXBundle::Ptr bundle = VXBundle::bundleWithPath(staging.filePath(name));
        if (bundle && bundle->bundleIdentifier() == transfer.plugin.identifier())
            transfer.host.output.note(
                u"another version of the plugin waits for the next start; it may upgrade the store then"_s);
    }
}

int tellOfNoUpgrade(const Transfer &transfer)
{
    tellOfWaitingPlugin(transfer);
    const QString entity = transfer.plugin.changedEntityOfStoreToOpen();
    if (entity.isNull())
        return answer(transfer, u"The store %1 needs no upgrade.\n"_s.arg(transfer.name), u"none"_s, {});
    return answer(
        transfer,
        u"The store %1 is of version %2 as its plugin is, and so is not upgraded. But the plugin's entity \"%3\" is "
        "another one than the store's, which keeps the model that it was written with: raise VXDataStoreVersion in "
        "the Info.plist of %4 with the change of the model, then upgrade.\n"_s.arg(
            transfer.name, transfer.plugin.dataStoreVersion(), entity, transfer.plugin.identifier()),
        u"none"_s, {}, {{u"changedEntity"_s, entity}});
}

int upgrade(Transfer &transfer)
{
    VXError error;
    VXDataPlugin &plugin = transfer.plugin;
    const std::optional<bool> isDue = plugin.isUpgradeDue(&error);
    if (!isDue)
        return transfer.fail(error);
    const bool isToSettle = VXExistsAtPath(plugin.upgradingPath()) && !transfer.isSet(u"dry-run"_s);
    if (!*isDue && !isToSettle)
        return tellOfNoUpgrade(transfer);
    if (transfer.isSet(u"dry-run"_s)) {
        const auto source = plugin.createStoreFromFileAtPath(plugin.storeToOpen(), &error);
        return source ? rehearse(transfer, source, false) : transfer.fail(error);
    }
    const QString backup = backupPlace(transfer);
    if (!canMakeBackup(transfer, backup))
        return VXHostOutput::Failed;
    if (!backup.isNull())
        plugin.setUpgradeBackup(backup);
    else if (transfer.isSet(u"yes"_s))
        plugin.setUpgradeBackup({});
    VXDataPlugin::holdBackStore({});
    if (!plugin.persistentStoreCoordinator(&error))
        return transfer.fail(error);
    const QString done = *isDue ? u"Upgraded the store %1."_s.arg(transfer.name)
                                : u"The store %1 was upgraded before."_s.arg(transfer.name);
    const QString old = placeOfOldStore(plugin);
    if (!backup.isNull() && old != backup)
        return transfer.host.output.fail(
            u"%1 But the old one could not be put into %2. It lies in %3."_s.arg(done, backup, old));
    const bool isEmpty = plugin.hasSavedNothing();
    return answer(
        transfer,
        u"%1 The old one %2.\n"_s.arg(done, textOfWayBack(transfer, old)) +
            (isEmpty ? u"But nothing was copied: the new store is empty. "_s + reasonForNothing(transfer) : QString()),
        *isDue ? u"upgraded"_s : u"settled"_s, plugin.lastMigration(),
        {{u"old"_s, VXJSONFromVariant(old)}, {u"copiesNothing"_s, isEmpty}});
}

QJsonObject placesOf(const QString &file, const QString &backup)
{
    return {{u"from"_s, file}, {u"backup"_s, VXJSONFromVariant(backup)}};
}

// About the backup that an import was to make first.
QString textOfBackup(const QString &backup)
{
    return backup.isNull() ? QString() : u"A backup of the present one lies in %1.\n"_s.arg(backup);
}

int answerMerged(const Transfer &transfer, VXCoreDataStore &source, const QString &file, const QString &backup)
{
    const VXDataPlugin &plugin = transfer.plugin;
    const QString reason = reasonForNothing(transfer, source);
    const QString old = plugin.oldStore();
    const QString done =
        !reason.isNull() ? u"Nothing of %1 was merged into the store %2. "_s : u"Merged %1 into the store %2. "_s;
    const QString before = old.isNull() ? u"What that was before could not be kept, and cannot be taken back."_s
                                        : u"What that was before %1."_s.arg(textOfWayBack(transfer, old));
    QJsonObject more = placesOf(file, backup);
    more.insert(u"old"_s, VXJSONFromVariant(old));
    more.insert(u"copiesNothing"_s, !reason.isNull());
    return answer(transfer,
                  done.arg(file, transfer.name) + (reason.isNull() ? before + u'\n' : reason) + textOfBackup(backup),
                  u"merged"_s, plugin.lastMigration(), more);
}

// The hooks copy what replaces the store only if it has to be upgraded.
int rehearseImport(const Transfer &transfer, const VXCoreDataStore::Ptr &store, const QString &file)
{
    const bool isMerge = !transfer.isSet(u"replace"_s);
    if (isMerge || transfer.plugin.isOlder(*store))
        return rehearse(transfer, store, isMerge);
    VXError error;
    const std::optional<QList<VXEntityMigration>> objects = VXObjectsOfStore(*store, &error);
    if (!objects)
        return transfer.fail(error);
    return answer(transfer,
                  u"Nothing was changed. %1 would replace the store %2 as it is. "_s.arg(file, transfer.name) +
                      (objects->isEmpty() ? VXTextOfMigration({}) : u"It holds:\n"_s),
                  u"rehearsed"_s, *objects, {{u"from"_s, file}, {u"copiesNothing"_s, objects->isEmpty()}});
}

int importStore(Transfer &transfer)
{
    const QString file = transfer.source(transfer.host.options.operand(2));
    if (file.isNull())
        return VXHostOutput::Failed;
    VXError error;
    QString description;
    const auto store = transfer.plugin.storeToImport(file, &description, &error);
    if (!store)
        return transfer.fail(error);
    if (transfer.isSet(u"dry-run"_s))
        return rehearseImport(transfer, store, file);
    VXAlertButton button = transfer.isSet(u"replace"_s) ? VXAlertButton::Other : VXAlertButton::Default;
    if (!transfer.isSet(u"replace"_s) && !transfer.isSet(u"merge"_s) && !transfer.isSet(u"yes"_s))
        button = transfer.plugin.askHowToImport(description);
    if (button == VXAlertButton::Alternate)
        return transfer.host.output.fail(u"nothing was imported; --merge or --replace tells how beforehand"_s);
    const QString backup = backupPlace(transfer);
    const QString source = QFileInfo(file).canonicalFilePath();
    const QString place = QFileInfo(backup).canonicalFilePath(); // empty: nothing is there yet
    if (!place.isEmpty() && (place == source || VXIsInsideFolder(source, place)))
        return transfer.host.output.fail(u"the backup would take the place of what is to be imported"_s);
    if (!canMakeBackup(transfer, backup))
        return VXHostOutput::Failed;
    error = backup.isNull() ? VXError() : transfer.plugin.exportStoreTo(backup, false);
    if (error)
        return transfer.fail(error);
    error = button == VXAlertButton::Default ? transfer.plugin.mergeStore(store) : transfer.plugin.stageStore(*store);
    if (error)
        return transfer.fail(error);
    if (button == VXAlertButton::Default)
        return answerMerged(transfer, *store, file, backup);
    return answer(transfer,
                  u"%1 replaces the store %2 at the next start when nobody has it open. \"vornix store rollback %2\" "
                  "then brings back the present one.\n"_s.arg(file, transfer.name) +
                      textOfBackup(backup),
                  u"staged"_s, {}, placesOf(file, backup));
}

int exportStore(Transfer &transfer)
{
    const QString place = transfer.place(transfer.host.options.operand(2));
    if (!mayReplace(transfer, place))
        return transfer.host.output.fail(u"nothing was exported; --yes agrees beforehand"_s);
    const bool validates = transfer.isSet(u"validate"_s);
    if (const VXError error = transfer.plugin.exportStoreTo(place, validates))
        return transfer.fail(error);
    const bool isEmpty = validates && transfer.plugin.hasSavedNothing();
    return answer(transfer,
                  isEmpty ? u"Nothing was copied: the exported store %1 is empty. "_s.arg(place) +
                                reasonForNothing(transfer)
                          : u"Exported the store %1 to %2.\n"_s.arg(transfer.name, place),
                  u"exported"_s, validates ? transfer.plugin.lastMigration() : QList<VXEntityMigration>(),
                  {{u"path"_s, place}, {u"copiesNothing"_s, isEmpty}});
}

int listPast(const Transfer &transfer, const QList<VXStorePast::Entry> &past)
{
    QList<QStringList> rows{{u"DATE"_s, u"WHY"_s, u"FOLDER"_s}};
    QJsonArray json;
    for (const VXStorePast::Entry &each : past) {
        rows.append({VXShownDate(each.date), each.reason, each.path});
        json.append(
            QJsonObject{{u"date"_s, VXReportedDate(each.date)}, {u"reason"_s, each.reason}, {u"path"_s, each.path}});
    }
    transfer.host.output.answer(past.isEmpty() ? u"No earlier store is known.\n"_s : VXTextTable(rows), json);
    return VXHostOutput::Done;
}

// Takes back what has not replaced the store yet.
int withdraw(Transfer &transfer, const QString &waiting)
{
    if (!agrees(transfer,
                u"%1 waits to replace the store %2. It would go to the trash, and the store stay as it is."_s.arg(
                    waiting, transfer.name)))
        return transfer.host.output.fail(u"nothing was changed; --yes agrees beforehand"_s);
    QString trashed;
    if (const VXError error = transfer.plugin.withdrawWaitingStore(&trashed))
        return transfer.fail(error);
    return answer(transfer,
                  u"The store %1 stays as it is. What waited to replace it lies in %2.\n"_s.arg(transfer.name, trashed),
                  u"withdrawn"_s, {}, {{u"from"_s, trashed}});
}

int rollBack(Transfer &transfer)
{
    QList<VXStorePast::Entry> past = transfer.plugin.earlierStores();
    const QString waiting = transfer.plugin.waitingPath();
    const bool isOneWaiting = VXExistsAtPath(waiting);
    QString from = transfer.host.options.operand(2);
    if (!from.isNull()) {
        from = transfer.source(from);
        if (from.isNull())
            return VXHostOutput::Failed;
        VXError error;
        if (!transfer.plugin.earlierStoreAt(from, &error))
            return transfer.fail(error);
        if (transfer.isSet(u"dry-run"_s))
            return answer(transfer,
                          u"Nothing was changed. %1 would take the place of the store %2.\n"_s.arg(from, transfer.name),
                          u"rehearsed"_s, {}, {{u"from"_s, from}});
    }
    if (transfer.isSet(u"dry-run"_s)) {
        if (isOneWaiting)
            past.prepend({waiting, QFileInfo(waiting).lastModified(), u"waiting"_s});
        return listPast(transfer, past);
    }
    if (from.isNull() && isOneWaiting)
        return withdraw(transfer, waiting);
    if (from.isNull() && past.isEmpty())
        return transfer.host.output.fail(u"no earlier store of %1 is known; name its folder"_s.arg(transfer.name));
    if (from.isNull())
        from = past.constFirst().path;
    if (!agrees(transfer,
                u"The present store %1 would go to the trash, and %2 take its place."_s.arg(transfer.name, from)))
        return transfer.host.output.fail(u"nothing was changed; --yes agrees beforehand"_s);
    bool isWaiting = false;
    if (const VXError error = transfer.plugin.takeBack(from, &isWaiting))
        return transfer.fail(error);
    return answer(transfer,
                  (isWaiting ? u"%1 is back as the store %2 at the next start when nobody has it open.\n"_s
                             : u"%1 is back as the store %2. One of an older version is upgraded again when it is "
                               "opened.\n"_s)
                      .arg(from, transfer.name),
                  isWaiting ? u"staged"_s : u"taken back"_s, {}, {{u"from"_s, from}});
}

struct Verb : VXHostVerb
{
    int (*run)(Transfer &transfer);
    bool leavesStoreAlone; // when its plugin is loaded
};

const QStringList stores{u"stores"_s}; // a kind of words

const Verb verbs[] = {{{u"upgrade"_s, u"NAME"_s, 1, 1, stores}, upgrade, true},
                      {{u"import"_s, u"NAME FOLDER"_s, 2, 2, stores}, importStore, false},
                      {{u"export"_s, u"NAME FOLDER"_s, 2, 2, stores}, exportStore, false},
                      {{u"rollback"_s, u"NAME [FOLDER]"_s, 1, 2, stores}, rollBack, true}};

// What is wrong with the command line; null if nothing is.
QString misuse(const VXHostOptions &options)
{
    if (options.operands().size() > 2 && options.operand(2).isEmpty())
        return u"the name of the folder is empty"_s;
    if (options.isSet(u"model"_s)) // of an import
        return u"--model goes with a PATH: the store %1 has the model of its plugin"_s.arg(options.operand(1));
    return options.isSet(u"merge"_s) && options.isSet(u"replace"_s) ? u"--merge and --replace exclude each other"_s
                                                                    : QString();
}

int runVerb(VXHostContext &context, const Verb &verb, const QString &name)
{
    if (!VXStoreNames().contains(name)) {
        QString problem;
        std::ignore = VXStoreForName(name, &problem); // it knows what to say
        if (name.contains(u'/') || name.endsWith(u'.' + VXStoreFileExtension))
            problem = u"%1 takes the name of a data plugin's store: "_s.arg(verb.name) + problem;
        return context.output.fail(problem);
    }
    const VXPluginProxy *const proxy = VXDataManager::sharedDataManager().findPluginForDataStore(name);
    if (proxy == nullptr || !proxy->isLoaded())
        return context.output.fail(VXStoreOutOfUse(name));
    auto &plugin = proxy->as<VXDataPlugin>("persistentStoreCoordinator");
    if (plugin.dataStoreTypeExtension() == "memory"_L1)
        return context.output.fail(u"the store \"%1\" is kept in memory only"_s.arg(name));
    Transfer transfer{context, plugin, name};
    return verb.run(transfer);
}

// Starts only the plugin of that store. Neither it nor those it needs open a store, because that might upgrade or
// replace some.
void startForALook(const QString &name)
{
    VXDataPlugin::holdBackAllStores();
    VXPluginManager::sharedPluginManager().setOnlyPlugins([name](const VXPluginProxy &root) {
        VXPluginProxy *const wanted = VXDataManager::sharedDataManager().findPluginForDataStore(name);
        return wanted != nullptr && wanted->rootProxy() == &root;
    });
}

} // namespace

const QList<VXHostVerb> &VXStoreTransferVerbs()
{
    static const QList<VXHostVerb> list = VXHostVerbsOf(verbs);
    return list;
}

int VXRunStoreTransfer(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const Verb &verb = options.verbIn(verbs);
    if (const QString problem = misuse(options); !problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(options));
    const QString name = options.operand(1);
    if (options.isSet(u"dry-run"_s))
        startForALook(name);
    else if (verb.leavesStoreAlone)
        VXDataPlugin::holdBackStore(name);
    return VXRunWithPlugins(context, [&](VXPluginManager &) { return runVerb(context, verb, name); });
}
