#include "VXApplication.h"
#include "VXCoreDataStoreMigrationWindowController.h"
#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFolderInMaking.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXStoreCopyWindow.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

using StorePtr = VXCoreDataStore::Ptr;

void VXDataPlugin::exportStoreAction()
{
    constexpr auto preference = "export.validate"_L1;
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    VXApplication &application = VXApplication::sharedApplication();
    VXSavePanel panel;
    panel.checkBoxTitle = VXLocalizedString(u"Validate data during save"_s);
    panel.isChecked = defaults.boolForKey(preference);
    panel.proposedName = QFileInfo(dataStorePath()).fileName();
    const VXPanelResult chosen = application.userInterface().runSavePanel(panel);
    if (!chosen.isOk())
        return;
    defaults.setObject(chosen.isChecked, preference);
    const Copy copy = [this](VXCoreDataStore &store, const QString &folder, VXError *error) {
        const QString title = VXLocalizedString(u"Exporting %1 data file..."_s).arg(dataStoreName());
        return VXCopyStoreInWindow(store, folder, title, error);
    };
    const VXError problem = exportTo(chosen.path, [&](const QString &folder) {
        return chosen.isChecked ? exportValidated(folder) : exportPlain(folder, chosen.path, copy);
    });
    if (problem)
        application.presentError(problem);
    else if (chosen.isChecked && _hasSavedNothing)
        tellOfEmptyExport(chosen.path);
}

// So that the user does not take the empty file for a copy.
void VXDataPlugin::tellOfEmptyExport(const QString &path) const
{
    VXAlert alert;
    alert.message = VXLocalizedString(u"Nothing was copied: the new data file is empty, as the plugin wants it."_s);
    alert.informativeText = path;
    alert.defaultButton = VXGlobalString(u"OK"_s);
    std::ignore = VXApplication::sharedApplication().userInterface().runAlert(alert); // there is only one answer
}

VXError VXDataPlugin::exportStoreTo(const QString &path, bool validates)
{
    const Copy copy = [](VXCoreDataStore &store, const QString &folder, VXError *error) {
        return store.copyTo(folder, error);
    };
    return exportTo(path, [&](const QString &folder) {
        return validates ? exportValidated(folder) : exportPlain(folder, path, copy);
    });
}

// What lies there goes to the trash when the export is whole, and not before.
VXError VXDataPlugin::exportTo(const QString &path, const Fill &fill) const
{
    VXError problem = problemWithPlace(path);
    if (problem)
        return problem;
    VXFolderInMaking folder(path);
    problem = folder.problem();
    if (!problem)
        problem = fill(folder.path());
    if (!problem && VXFileManager::itemExistsAtPath(path))
        problem = VXFileManager::defaultManager().safelyTrashFileAtPath(path);
    bool isTaken = false;
    if (!problem)
        folder.moveIntoPlace(&isTaken, &problem);
    return folder.errorAbout(problem, path);
}

VXError VXDataPlugin::exportPlain(const QString &folder, const QString &path, const Copy &copy) const
{
    VXError problem;
    const StorePtr store = storeToExport(&problem);
    if (store && copy(*store, folder, &problem))
        return {};
    if (problem.domain() == VXErrorDomain && problem.code() == VXErrorCancelled)
        return problem;
    VXLogMethod(VXLogError, "exportStoreAction:", u"Could not copy file: %1 -> %2"_s.arg(dataStorePath(), path));
    VXLogMethod(VXLogError, "exportStoreAction:", problem.description());
    return VXMakeError(VXLocalizedString(u"Unable to copy file"_s), "%s", qUtf8Printable(problem.description()));
}

VXError VXDataPlugin::exportValidated(const QString &folder)
{
    VXError problem;
    VXFolderInMaking aside(dataStorePath()); // a copy, as others keep writing to the store
    problem = aside.problem();
    const StorePtr store = problem ? nullptr : storeToExport(&problem);
    const StorePtr source = store ? snapshotOf(*store, aside.path(), &problem) : nullptr;
    const StorePtr destination = source ? createStoreAtPath(folder, {}, &problem) : nullptr;
    if (!destination || !saveStamp(*destination, &problem))
        return problem;
    const QString dataFile = folder + u'/' + destination->dataFileName();
    problem = run(*VXCoreDataStoreMigrationWindowController::exportStore(source, destination, *this));
    QFile::remove(dataFile + ".lock"_L1); // left from when the XML file was written
    return aside.errorAbout(problem, dataStorePath());
}

// Opens the live folder a second time: what is on disk is exported.
StorePtr VXDataPlugin::storeToExport(VXError *error) const
{
    StorePtr store = coreDataStoreClass().storeWithPath(dataStorePath());
    if (!store)
        VXSetError(error,
                   VXMakeError(VXLocalizedString(u"Missing data store"_s), "%s", qUtf8Printable(dataStorePath())));
    return store;
}

// The program's own data there, or around it, must not go to the trash when the file is replaced.
VXError VXDataPlugin::problemWithPlace(const QString &path) const
{
    const QFileInfo chosen(path);
    const QString folder = QFileInfo(chosen.absolutePath()).canonicalFilePath();
    const QString place =
        QDir::cleanPath((folder.isEmpty() ? chosen.absolutePath() : folder) + u'/' + chosen.fileName()) + u'/';
    const auto isAround = [&](const QString &store) {
        return !store.isEmpty() && (place.startsWith(store + u'/') || (store + u'/').startsWith(place));
    };
    const QStringList own{VXDataManager::sharedDataFolderPath(), VXDataManager::sharedDataInstallPath(),
                          dataStorePath()};
    if (std::ranges::none_of(own, [&](const QString &each) {
            const QFileInfo kept(each);
            return isAround(kept.absoluteFilePath()) || isAround(kept.canonicalFilePath());
        }))
        return {};
    return VXMakeError(VXLocalizedString(u"The data file that is in use lies there"_s), "%s", qUtf8Printable(path));
}

VXError VXDataPlugin::prepareBackupPlace(const QString &path) const
{
    const VXError problem = problemWithPlace(path);
    return problem ? problem : VXFolderInMaking(path).problem(); // the folder is removed again at once
}
