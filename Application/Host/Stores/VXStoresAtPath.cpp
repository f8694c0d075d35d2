#include "VXStoresAtPath.h"

#include "VXCoreDataStore.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFolderInMaking.h"
#include "VXModelParser.h"
#include "VXRegularFile.h"
#include "VXStoreLock.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds longestWait(10); // for someone who is replacing a store

VXManagedObjectModel::Ptr modelFromSource(const QString &path, QString *problem)
{
    QString reason;
    const QByteArray source = VXRegularFile::read(path, &reason);
    if (source.isNull()) {
        *problem = u"%1: %2"_s.arg(path, reason);
        return nullptr;
    }
    QList<VXModelProblem> problems;
    const VXModelDefinition definition = VXParseModel(source, &problems);
    if (problems.isEmpty())
        problems = VXCheckModel(definition);
    QStringList texts;
    for (const VXModelProblem &each : std::as_const(problems))
        texts.append(u"%1:%2: %3"_s.arg(path).arg(each.line).arg(each.text));
    *problem = texts.join(u'\n');
    return problems.isEmpty() ? VXManagedObjectModel::modelWithDefinition(definition) : nullptr;
}

// The models found in the folder of a store, combined.
VXManagedObjectModel::Ptr modelInFolder(const QString &folder, const QString &path, QString *problem)
{
    if (VXCoreDataStore::storeClass().modelFilesForStorePath(folder).isEmpty()) {
        *problem = u"%1: there is no model (.mom) with it; name one with --model"_s.arg(path);
        return nullptr;
    }
    VXError error;
    const VXManagedObjectModel::Ptr model = VXCoreDataStore(folder, {}).managedObjectModel(&error);
    if (!model)
        *problem = VXErrorText(error);
    return model;
}

// The names of the data files at a path: in a store folder, those that the plugin that owns it would open.
QStringList dataFiles(const QFileInfo &path, QString *problem)
{
    if (!path.exists()) {
        *problem = u"%1: there is no such store"_s.arg(path.filePath());
        return {};
    }
    const QString folder = path.isDir() ? path.filePath() : path.path();
    const QStringList names = VXCoreDataStore::storeClass().dataFilesForStorePath(folder);
    if (!path.isDir() && names.contains(path.fileName()))
        return {path.fileName()};
    if (path.isDir() && !names.isEmpty())
        return VXCoreDataStoreClass::dataFilesLike(names.last(), folder);
    *problem = (path.isDir() ? u"%1: the folder holds no data file (.sqlite or .xml)"_s
                             : u"%1: the name of a data file ends in .sqlite or .xml"_s)
                   .arg(path.filePath());
    return {};
}

bool attach(VXPersistentStoreCoordinator &coordinator, const QString &file, const VXStoreOptions &options,
            QString *problem)
{
    VXError error;
    if (coordinator.addPersistentStore(VXCoreDataStoreClass::typeOfDataFile(file), file, options, &error))
        return true;
    *problem = VXErrorText(error);
    return false;
}

} // namespace

VXManagedObjectModel::Ptr VXModelFromFile(const QString &path, QString *problem)
{
    if (!path.endsWith(".mom"_L1))
        return modelFromSource(path, problem);
    VXError error;
    const VXManagedObjectModel::Ptr model = VXManagedObjectModel::modelWithContentsOfFile(path, &error);
    if (!model)
        *problem = VXErrorText(error);
    return model;
}

VXPersistentStoreCoordinator::Ptr VXOpenStores(const QString &path, const QString &modelPath, VXStoreUse use,
                                               QString *problem)
{
    const QFileInfo info(path);
    const QStringList names = dataFiles(info, problem);
    if (names.isEmpty())
        return nullptr;
    const QString folder = info.isDir() ? info.absoluteFilePath() : info.absolutePath();
    VXError error;
    const auto purpose = use == VXStoreUse::Read ? VXStoreLock::Purpose::Read : VXStoreLock::Purpose::Use;
    const VXStoreLock::Ptr lock = VXStoreLock::take(folder, purpose, longestWait, &error);
    if (!lock) {
        *problem = VXErrorText(error);
        return nullptr;
    }
    const VXManagedObjectModel::Ptr model =
        modelPath.isNull() ? modelInFolder(folder, path, problem) : VXModelFromFile(modelPath, problem);
    if (!model)
        return nullptr;
    auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
    coordinator->holdWhileOpen(lock);
    const VXStoreOptions options{.isReadOnly = use == VXStoreUse::Read};
    for (const QString &name : names) {
        if (!attach(*coordinator, folder + u'/' + name, options, problem))
            return nullptr;
    }
    return coordinator;
}

bool VXMakeStoreFolder(const QString &path, const QString &modelPath, const QString &type, QString *problem)
{
    const QString folder = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (!folder.endsWith(u'.' + VXStoreFileExtension) || QFileInfo(folder).completeBaseName().isEmpty()) {
        *problem = u"%1: a store folder has a name that ends in .%2"_s.arg(path, VXStoreFileExtension);
        return false;
    }
    if (QFileInfo::exists(folder) && !QDir(folder).isEmpty()) { // an empty one may be used
        *problem = u"%1: there is something already"_s.arg(path);
        return false;
    }
    const VXManagedObjectModel::Ptr model = VXModelFromFile(modelPath, problem);
    if (!model)
        return false;
    VXFolderInMaking made(folder);
    VXError error = made.problem();
    const QString file = made.path() + u'/' + QFileInfo(folder).completeBaseName() + u'.';
    if (!error)
        error = VXFileManager::defaultManager().verifyPathExists(made.path());
    const QString ownModel = file + "mom"_L1;
    if (!error && model->writeToFile(ownModel, &error))
        QFile::setPermissions(ownModel, QFile::ReadOwner | QFile::WriteOwner); // like everything in a store
    if (error)
        *problem = VXErrorText(error, path);
    else if (attach(*VXPersistentStoreCoordinator::coordinatorWithModel(model), file + type, {}, problem)) {
        bool isTaken = false;
        if (made.moveIntoPlace(&isTaken, &error))
            return true;
        *problem = isTaken ? u"%1: there is something already"_s.arg(path) : VXErrorText(error, path);
    }
    return false;
}
