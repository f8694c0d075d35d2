#include "VXApplication.h"
#include "VXCoreDataStoreMigrationWindowController.h"
#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFolderInMaking.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXMethodLog.h"
#include "VXNotificationCenter.h"
#include "VXPluginGuard.h"
#include "VXPropertyList.h"
#include "VXRegularFile.h"
#include "VXStorePast.h"

#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <atomic>
#include <memory>
#include <tuple>

using namespace Qt::StringLiterals;

using StorePtr = VXCoreDataStore::Ptr;

namespace {

VXError errorOf(const QString &text, const QString &suggestion)
{
    return VXMakeError(VXLocalizedString(text), "%s", qUtf8Printable(suggestion));
}

VXUserInterface &user()
{
    return VXApplication::sharedApplication().userInterface();
}

/** Watches, from its construction on, whether anything in this process saves to a store. */
class SaveWatch
{
public:
    explicit SaveWatch(const VXPersistentStoreCoordinator &store)
        : _observer(VXNotificationCenter::defaultCenter().addObserver(
              nullptr, VXManagedObjectContextDidSaveNotification,
              [store = &store, hasSeenOne = _hasSeenOne](const VXNotification &notification) {
                  const auto *const context = notification.object.value<VXManagedObjectContext *>();
                  if (context != nullptr && context->persistentStoreCoordinator().get() == store)
                      *hasSeenOne = true;
              }))
    {
    }
    ~SaveWatch() { VXNotificationCenter::defaultCenter().removeObserver(_observer); }
    SaveWatch(const SaveWatch &) = delete;
    SaveWatch &operator=(const SaveWatch &) = delete;

    bool hasSeenOne() const { return *_hasSeenOne; }

private:
    // Shared: other threads save, too, and may still be in a last call when the observation ends.
    const std::shared_ptr<std::atomic_bool> _hasSeenOne = std::make_shared<std::atomic_bool>(false);
    const VXNotificationCenter::ObserverID _observer;
};

} // namespace

// -- What can be imported

StorePtr VXDataPlugin::createStoreFromFileAtPath(const QString &path, VXError *error)
{
    StorePtr store = coreDataStoreClass().storeWithPath(path);
    if (!store) {
        VXSetError(error, errorOf(u"Not a recognized data file."_s, path));
        return nullptr;
    }
    store->usePlainObjects(); // the store may be of any version
    store->openReadOnly();
    return store;
}

QString VXDataPlugin::importDescriptionFromStore(VXCoreDataStore &)
{
    VXLogMethod(VXLogWarning,
                "importDescriptionFromStore:", "plugin not designed for importing: "_L1 + VXDescription(identifier()));
    return {};
}

qsizetype VXDataPlugin::countInStore(VXCoreDataStore &store, const QString &entityName)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator();
    const VXEntityDescription *const entity = coordinator ? coordinator->model().entityForName(entityName) : nullptr;
    return entity == nullptr
               ? 0
               : VXManagedObjectContext(coordinator).countForFetchRequest(VXFetchRequest(*entity)).value_or(0);
}

bool VXDataPlugin::holdsObjects(VXCoreDataStore &store)
{
    const VXManagedObjectModel::Ptr model = store.managedObjectModel();
    return model && std::ranges::any_of(model->entities(), [&](const VXEntityDescription *entity) {
               return entity->superentity() == nullptr && countInStore(store, entity->name()) > 0;
           });
}

bool VXDataPlugin::isValidStoreAtPath(const QString &path) const
{
    if (QFileInfo(path).suffix() != VXStoreFileExtension)
        return false;
    const QRegularExpression pattern(QRegularExpression::anchoredPattern(dataStoreName() + ".*"_L1));
    const QStringList names = coreDataStoreClass().dataFilesForStorePath(path);
    return pattern.isValid() &&
           std::ranges::any_of(names, [&](const QString &name) { return pattern.match(name).hasMatch(); });
}

VXOpenPanel VXDataPlugin::importPanel() const
{
    VXOpenPanel panel;
    panel.packageExtensions = QStringList{VXStoreFileExtension};
    panel.shouldShowFilename = [this](const QString &path) { return isValidStoreAtPath(path); };
    return panel;
}

// A store that can be opened, belongs to this plugin as far as it says, and is not too new.
StorePtr VXDataPlugin::ownStoreAt(const QString &path, VXError *error)
{
    StorePtr store = createStoreFromFileAtPath(path, error);
    if (!store || !store->persistentStoreCoordinator(error))
        return nullptr;
    const QVariantMap metadata = store->metadata();
    const bool isOwn = metadata.value(VXStoreOwnerIdentifierKey) == identifier();
    if (const VXError problem = problemOfOwner(metadata, store->dataFileName()))
        VXSetError(error, problem);
    else if (!isOwn && !hasEntityOf(*store))
        VXSetError(error, errorOf(u"Data file does not belong to this plugin"_s, path));
    else if (ageOf(metadata) == Age::Newer)
        VXSetError(error, errorOf(u"Data file is newer than this plugin supports"_s, path));
    else
        return store;
    return nullptr;
}

// Whether the store has an entity that the plugin's own model names. Its creator alone does not say whose data it
// holds.
bool VXDataPlugin::hasEntityOf(VXCoreDataStore &store) const
{
    const VXManagedObjectModel::Ptr own = ownModel(nullptr);
    const VXManagedObjectModel::Ptr theirs = store.managedObjectModel();
    return own && theirs && std::ranges::any_of(theirs->entities(), [&](const VXEntityDescription *entity) {
               return own->entityForName(entity->name()) != nullptr;
           });
}

StorePtr VXDataPlugin::storeToImport(const QString &path, QString *description, VXError *error)
{
    if (isStoreItself(path, error)) // importing it would duplicate each object
        return nullptr;
    StorePtr store = ownStoreAt(path, error);
    if (!store)
        return nullptr;
    QString thrown;
    if (!VXCallPlugin(
            *this, "importDescriptionFromStore:", [&] { *description = importDescriptionFromStore(*store); },
            &thrown)) {
        VXSetError(error, errorOf(u"Unable to import data."_s, thrown));
        return nullptr;
    }
    if (!description->isNull())
        return store;
    VXSetError(error, errorOf(u"No data was found in this file."_s, path));
    return nullptr;
}

// -- Importing

bool VXDataPlugin::importStore(VXError *error)
{
    const VXPanelResult chosen = user().runOpenPanel(importPanel());
    return chosen.isOk() && importStoreAtPath(chosen.path, error);
}

void VXDataPlugin::importStoreAction()
{
    importStore();
}

void VXDataPlugin::importLegacyDataAction()
{
    importLegacyData();
}

bool VXDataPlugin::importStoreAtPath(const QString &path, VXError *error)
{
    const auto fail = [&](const VXError &problem) {
        VXSetError(error, problem);
        VXAlert alert;
        alert.message = VXLocalizedString(u"Unable to import data."_s);
        alert.informativeText = problem.localizedDescription();
        alert.defaultButton = VXGlobalString(u"OK"_s);
        std::ignore = user().runAlert(alert); // there is only one answer
        return false;
    };
    VXError problem;
    QString description;
    const StorePtr store = storeToImport(path, &description, &problem);
    if (!store)
        return fail(problem);
    switch (askHowToImport(description)) {
    case VXAlertButton::Alternate:
        return false;
    case VXAlertButton::Default:
        problem = mergeStore(store);
        return problem ? fail(problem) : true;
    case VXAlertButton::Other:
        break;
    }
    problem = stageStore(*store);
    if (problem)
        return fail(problem);
    askForRelaunch();
    return true;
}

VXAlertButton VXDataPlugin::askHowToImport(const QString &description) const
{
    VXAlert alert;
    alert.message = VXLocalizedString(u"Merge imported data with existing data?"_s);
    alert.informativeText = description;
    alert.defaultButton = VXGlobalString(u"Merge"_s);
    alert.alternateButton = VXGlobalString(u"Cancel"_s);
    alert.otherButton = VXGlobalString(u"Replace"_s);
    return user().runAlert(alert).button;
}

VXError VXDataPlugin::mergeStore(const StorePtr &store)
{
    VXAssert(_sharedStoreController != nullptr, u"Can not import before plugin has loaded"_s);
    // A snapshot, as somebody may be writing to it. It is made beside the store, where there has to be room for the
    // data anyway.
    VXFolderInMaking folder(dataStorePath());
    VXError problem = folder.problem();
    const StorePtr snapshot = problem ? nullptr : snapshotOf(*store, folder.path(), &problem);
    const QString before = VXStorePast::freePlaceBeside(dataStorePath(), u"merged"_s);
    if (!problem)
        problem = copyBeforeMerge(before);
    _oldStore = QString();
    if (problem)
        return folder.errorAbout(problem, store->storePath());
    const SaveWatch saves(*_sharedStoreController->persistentStoreCoordinator());
    problem = run(*VXCoreDataStoreMigrationWindowController::importStore(snapshot, _sharedStoreController, *this));
    const bool isMerged = problem ? saves.hasSeenOne() : !_hasSavedNothing && holdsObjects(*snapshot);
    if (!isMerged) // there is nothing to take back
        VXStorePast::discard(dataStorePath(), before);
    else
        keepMerged(before);
    return folder.errorAbout(problem, store->storePath());
}

// The copy stays beside the store if it cannot go to the trash.
void VXDataPlugin::keepMerged(const QString &before)
{
    if (!VXFileManager::itemExistsAtPath(before)) // a store in memory has none
        return;
    if (const VXError problem = VXStorePast::keep(dataStorePath(), before, u"merged"_s, &_oldStore))
        VXLogMethod(VXLogError, "importStoreAtPath:error:", problem.description());
}

// Copies the store, so that the merge can be taken back. The copy is listed before the first object is saved: so a
// merge can be taken back even if the program ends during it, or its hooks save by themselves and then fail.
VXError VXDataPlugin::copyBeforeMerge(const QString &place)
{
    if (_sharedStoreController->storePath().isNull()) // in memory
        return {};
    VXFolderInMaking before(place);
    VXError problem = before.problem();
    bool isTaken = false;
    if (!problem && _sharedStoreController->copyTo(before.path(), &problem) && before.moveIntoPlace(&isTaken, &problem))
        VXStorePast::note(dataStorePath(), place, u"merged"_s);
    return before.errorAbout(problem, dataStorePath());
}

StorePtr VXDataPlugin::snapshotOf(VXCoreDataStore &store, const QString &path, VXError *error) const
{
    if (!store.copyDataTo(path, error))
        return nullptr;
    StorePtr snapshot = coreDataStoreClass().makeStore(path, store.dataFileName());
    snapshot->usePlainObjects();
    snapshot->openReadOnly();
    return snapshot;
}

// The copy gets the live store's name, whatever the file is called, and appears only when it is whole.
VXError VXDataPlugin::stageStore(VXCoreDataStore &store)
{
    _hasSavedNothing = false; // in an earlier merge
    const QString place = waitingPath();
    VXFileManager &files = VXFileManager::defaultManager();
    if (VXError problem = files.verifyPathExists(VXDataManager::sharedDataInstallPath()))
        return problem;
    VXFolderInMaking folder(place);
    VXError problem = folder.problem();
    const bool isCopied = !problem && store.copyTo(folder.path(), &problem);
    if (isCopied && VXFileManager::itemExistsAtPath(place)) { // this may be the store that was copied
        if (VXError inTheWay = withdrawWaitingStore(nullptr))
            return inTheWay;
    }
    bool isTaken = false;
    if (isCopied && folder.moveIntoPlace(&isTaken, &problem))
        return {};
    VXLogMethod(VXLogError,
                "importStoreAtPath:error:", u"Could not copy file: %1 -> %2"_s.arg(store.storePath(), place));
    VXLogMethod(VXLogError, "importStoreAtPath:error:", problem.description());
    return errorOf(u"Unable to copy file"_s, problem.description());
}

void VXDataPlugin::askForRelaunch()
{
    VXApplication &application = VXApplication::sharedApplication();
    if (!application.didFinishLaunching()) {
        application.setNeedsRelaunch(true);
        return;
    }
    VXAlert alert;
    alert.message = VXLocalizedString(u"Vornix must be re-launched in order to use the new data file."_s);
    alert.defaultButton = VXGlobalString(u"Re-Launch Now"_s);
    alert.alternateButton = VXGlobalString(u"Re-Launch Later"_s);
    if (user().runAlert(alert).button == VXAlertButton::Default)
        application.relaunchInNextRunLoop();
}

// -- Data of earlier generations

QString VXDataPlugin::legacyDataPath() const
{
    return {};
}

bool VXDataPlugin::hasLegacyData() const
{
    const QString path = legacyDataPath();
    return !path.isNull() && QFileInfo::exists(path);
}

bool VXDataPlugin::importLegacyData(VXError *error)
{
    if (hasLegacyData())
        return importStoreAtPath(legacyDataPath(), error);
    VXAlert alert;
    alert.message = VXLocalizedString(u"Unable to locate data file."_s);
    alert.informativeText = legacyDataPath();
    alert.defaultButton = VXGlobalString(u"Select File..."_s);
    alert.alternateButton = VXGlobalString(u"Cancel"_s);
    return user().runAlert(alert).button == VXAlertButton::Default && importStore(error);
}

bool VXDataPlugin::importLegacyXMLBundle(const QString &folder, VXManagedObjectContext &context)
{
    constexpr const char *operation = "importLegacyXMLBundle:intoContext:";
    const QString file = folder + "/global.xml"_L1;
    VXError error;
    if (QFileInfo::exists(file)) {
        const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(
            context.persistentStoreCoordinator()->modelPtr(), &error, VXObjectClasses::Plain);
        if (!coordinator || !coordinator->addPersistentStore(VXStoreType::XML, file, {.isReadOnly = true}, &error)) {
            VXLogMethod(VXLogError, operation, "store: "_L1 + error.description());
            return false;
        }
        VXManagedObjectContext oldContext(coordinator);
        if (!migrateManagedObjectContext(oldContext, 0, context, &error)) {
            VXLogMethod(VXLogError, operation, "migrate: "_L1 + error.description());
            return false;
        }
    } else {
        VXLogMethod(VXLogWarning, operation, u"Missing legacyFile"_s);
    }
    error = VXFileManager::defaultManager().safelyTrashFileAtPath(folder);
    if (!error)
        return true;
    VXLogMethod(VXLogError, operation, "trash: "_L1 + error.description());
    return false;
}

QVariant VXDataPlugin::loadDictionaryFromFilePath(const QString &path, VXError *error) const
{
    constexpr const char *operation = "loadDictionaryFromFilePath:error:";
    QString reason;
    const QByteArray data = VXRegularFile::read(path, &reason);
    if (data.isNull()) {
        VXLogMethod(VXLogError, operation, u"Unable to load data from file: %1"_s.arg(path));
        VXSetError(error, errorOf(u"Unable to load data"_s, path));
        return {};
    }
    VXError problem;
    QVariant value = VXPropertyList::fromData(data, &problem);
    if (value.isValid())
        return value;
    QStringList texts{problem.localizedDescription(), problem.localizedRecoverySuggestion()};
    texts.removeAll(QString());
    const QString description = texts.join(u' ');
    VXLogMethod(VXLogError, operation, u"Invalid plist: %1\n%2"_s.arg(path, description));
    VXSetError(error, VXMakeError(description, "%s", qUtf8Printable(path)));
    return {};
}
