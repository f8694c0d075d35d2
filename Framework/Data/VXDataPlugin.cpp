#include "VXDataPlugin.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXMetaDataSync.h"
#include "VXMethodLog.h"
#include "VXObjectStoreError.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"

#include <QtCore/QDir>
#include <QtCore/QScopeGuard>

#include <tuple>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// A data plugin could not open its store, and the user was told: the application is about to end.
bool hasFailed = false;

// The name of the store that is not to be opened; null for none.
QString heldBack;
bool isEveryStoreHeldBack = false;

// Without error codes, which are in the log.
QString textForPeople(const VXError &error)
{
    QStringList texts{error.localizedDescription(), error.localizedRecoverySuggestion(), error.filePath()};
    texts.removeAll(QString());
    texts.removeDuplicates();
    const QString text = texts.isEmpty() ? VXLocalizedString(u"It does not say why."_s) : texts.join(u' ');
    return text.endsWith(u'.') ? text : text + u'.';
}

} // namespace

VXDataPlugin::VXDataPlugin() = default;

VXDataPlugin::~VXDataPlugin() = default;

QString VXDataPlugin::dataStoreName() const
{
    return infoText(u"VXDataStoreName"_s);
}

QString VXDataPlugin::dataStoreTypeExtension() const
{
    return infoText(u"VXDataStoreType"_s);
}

QString VXDataPlugin::dataStoreVersion() const
{
    return infoText(u"VXDataStoreVersion"_s);
}

QString VXDataPlugin::dataStorePath() const
{
    return VXDataManager::sharedDataFolderPath() + u'/' + dataStoreName() + u'.' + VXStoreFileExtension;
}

QStringList VXDataPlugin::dataModelPaths() const
{
    const VXBundle::Ptr found = bundle();
    const QString path = found ? found->pathForResource(dataStoreName(), u"mom"_s) : QString();
    return path.isNull() ? QStringList() : QStringList{QDir::cleanPath(path)};
}

const VXCoreDataStoreClass &VXDataPlugin::coreDataStoreClass() const
{
    return VXCoreDataStore::storeClass();
}

bool VXDataPlugin::validateManagedObjectContext(VXManagedObjectContext &, VXError *)
{
    return true;
}

bool VXDataPlugin::openManagedObjectWithURIRepresentation(const QUrl &)
{
    return false;
}

void VXDataPlugin::holdBackStore(const QString &storeName)
{
    heldBack = storeName;
}

void VXDataPlugin::holdBackAllStores()
{
    isEveryStoreHeldBack = true;
}

// If the store cannot be opened, the plugin manager must not continue until the application ends.
void VXDataPlugin::_pluginWillLoad()
{
    VXCallPlugin(*this, "persistentStoreCoordinator", [this] { persistentStoreCoordinator(); });
    VXPlugin::_pluginWillLoad();
}

VXPersistentStoreCoordinator::Ptr VXDataPlugin::persistentStoreCoordinator(VXError *outcome)
{
    const auto refuse = [&](const QString &text) {
        VXSetError(outcome, VXMakeError(VXLocalizedString(text), "%s", qUtf8Printable(dataStoreName())));
        return nullptr;
    };
    if (hasFailed)
        return refuse(u"The store of a data plugin could not be opened"_s);
    if (isEveryStoreHeldBack || heldBack == dataStoreName())
        return refuse(u"The store is left alone for now"_s);
    if (_isOpening) { // by a call that has not returned, for example because it asks the user
        VXLogMethod(VXLogWarning, "persistentStoreCoordinator", "the store is being opened: "_L1 + dataStoreName());
        return refuse(u"The store is being opened"_s);
    }
    if (_sharedStoreController)
        return _sharedStoreController->persistentStoreCoordinator(outcome);
    VXError error;
    VXError reason; // used when there is no better error
    QString thrown;
    bool isOpen = false;
    _isOpening = true;
    const auto leave = qScopeGuard([this] {
        _isOpening = false;
        _openingLock = nullptr;
    });
    _hasUpgradeFailed = false;
    VXMetaDataSync::noteReplacedStores();
    const auto open = [&] {
        _sharedStoreController = openStore(&error);
        isOpen = _sharedStoreController && !error && _validateAndSaveStoreController(*_sharedStoreController, &reason);
    };
    VXCallPlugin(*this, "persistentStoreCoordinator", open, &thrown);
    if (isOpen) {
        const auto coordinator = _sharedStoreController->persistentStoreCoordinator();
        VXDataManager::sharedDataManager().dataPluginDidOpenStore(dataStoreName(), coordinator);
        return coordinator;
    }
    _sharedStoreController = nullptr;
    if (!error && !thrown.isNull())
        error = VXMakeError(VXLocalizedString(u"Unable to read data file"_s), "%s", qUtf8Printable(thrown));
    const VXError &known = error ? error : reason;
    VXSetError(outcome, known ? known : VXMakeError(VXLocalizedString(u"Unable to read data file"_s)));
    endApplication(error, known);
    return nullptr;
}

// What the user may want to know about former stores; null when there is nothing.
QString VXDataPlugin::textAboutEarlierStores(const VXError &reason) const
{
    const QList<VXStorePast::Entry> earlier = earlierStores();
    const bool isDamaged = reason.code() == int(VXObjectStoreErrorCode::FileCorrupt);
    // They are older than the store that is back in its place.
    // Otherwise it only took the place of the user's store.
    const bool isOfUser = !VXStorePast::isUnused(dataStorePath()) || VXStorePast::isTakenBack(dataStorePath());
    if (isOfUser && (reason.code() == VXErrorCancelled || (_hasUpgradeFailed && !isDamaged)))
        return _hasUpgradeBegun && VXExistsAtPath(upgradingPath()) ? QString()
                                                                   : VXLocalizedString(u"The store is as it was."_s);
    if (VXExistsAtPath(waitingPath()))
        return VXLocalizedString(u"What is to replace it waits in %1; \"vornix store rollback %2\" withdraws that."_s)
            .arg(waitingPath(), dataStoreName());
    if (earlier.isEmpty())
        return isDamaged ? VXLocalizedString(u"Once its folder is moved away, an empty store is made."_s) : QString();
    const QString text =
        earlier.constFirst().reason == "removed"_L1
            ? VXLocalizedString(u"The store from before its last upgrade has taken its place, and it lies in %1; "
                                "\"vornix store rollback %2\" takes it back."_s)
            : VXLocalizedString(u"The store from before lies in %1; \"vornix store rollback %2\" takes it back."_s);
    return text.arg(earlier.constFirst().path, dataStoreName());
}

void VXDataPlugin::endApplication(const VXError &error, const VXError &reason)
{
    if (std::exchange(hasFailed, true))
        return;
    VXLogMethod(VXLogError, "persistentStoreCoordinator", VXDescription(error ? error.description() : QString()));
    VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier());
    if (proxy != nullptr)
        proxy->setLoadError(u"Its store cannot be opened: %1"_s.arg(textForPeople(reason)));
    VXAlert alert;
    alert.message = error ? error.localizedDescription() : VXLocalizedString(u"Unable to read data file"_s);
    alert.informativeText = dataStorePath();
    alert.details = VXLocalizedString(u"The plugin \"%1\" (%2) cannot open it: %3"_s)
                        .arg(description(), identifier(), textForPeople(reason));
    if (proxy != nullptr && !proxy->isBuiltInPlugin())
        alert.details += u' ' + VXLocalizedString(u"With the plugin left out the program starts."_s);
    if (const QString text = textAboutEarlierStores(reason); !text.isNull())
        alert.details += u' ' + text;
    alert.defaultButton = VXGlobalString(u"Quit"_s);
    VXApplication &application = VXApplication::sharedApplication();
    std::ignore = application.userInterface().runAlert(alert); // there is only one answer
    application.terminate();
}
