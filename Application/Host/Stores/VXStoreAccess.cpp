#include "VXStoreAccess.h"

#include "VXCoreDataStore.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXModelParser.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <cerrno>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

VXManagedObjectModel::Ptr modelFromSource(const QString &path, QString *problem)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = u"%1: %2"_s.arg(path, file.errorString());
        return nullptr;
    }
    QList<VXModelProblem> problems;
    const VXModelDefinition definition = VXParseModel(file.readAll(), &problems);
    if (problems.isEmpty())
        problems = VXCheckModel(definition);
    QStringList texts;
    for (const VXModelProblem &each : std::as_const(problems))
        texts.append(u"%1:%2: %3"_s.arg(path).arg(each.line).arg(each.text));
    *problem = texts.join(u'\n');
    return problems.isEmpty() ? VXManagedObjectModel::modelWithDefinition(definition) : nullptr;
}

// The models that lie in the folder of a store, as one.
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

QString extensionOf(const QString &fileName)
{
    return QFileInfo(fileName).suffix();
}

// The names of the data files at a path: of a store folder those that the plugin that owns it would open.
QStringList dataFiles(const QFileInfo &path, QString *problem)
{
    if (!path.exists()) {
        *problem = u"%1: there is no such store"_s.arg(path.filePath());
        return {};
    }
    const QString folder = path.isDir() ? path.filePath() : path.path();
    QStringList names = VXCoreDataStore::storeClass().dataFilesForStorePath(folder);
    if (path.isDir() && names.isEmpty())
        *problem = u"%1: the folder holds no data file (.sqlite or .xml)"_s.arg(path.filePath());
    else if (path.isDir())
        names.removeIf([last = extensionOf(names.last())](const QString &name) { return extensionOf(name) != last; });
    else if (names.contains(path.fileName()))
        return {path.fileName()};
    else
        *problem = u"%1: the name of a data file ends in .sqlite or .xml"_s.arg(path.filePath());
    return path.isDir() ? names : QStringList();
}

bool attach(VXPersistentStoreCoordinator &coordinator, const QString &file, const VXStoreOptions &options,
            QString *problem)
{
    const VXStoreType type = extensionOf(file) == "xml"_L1 ? VXStoreType::XML : VXStoreType::SQLite;
    VXError error;
    if (coordinator.addPersistentStore(type, file, options, &error))
        return true;
    *problem = VXErrorText(error);
    return false;
}

} // namespace

QString VXErrorText(const VXError &error, const QString &path)
{
    const QString file = error.filePath().isNull() ? path : error.filePath();
    const QString suggestion = error.localizedRecoverySuggestion();
    return (file.isNull() ? QString() : file + ": "_L1) + error.localizedDescription() +
           (suggestion.isNull() ? QString() : u' ' + suggestion);
}

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
    const VXManagedObjectModel::Ptr model =
        modelPath.isNull() ? modelInFolder(folder, path, problem) : VXModelFromFile(modelPath, problem);
    if (!model)
        return nullptr;
    auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
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
    if (!folder.endsWith(u'.' + VXStoreFileExtension)) {
        *problem = u"%1: the name of a store folder ends in .%2"_s.arg(path, VXStoreFileExtension);
        return false;
    }
    if (QFileInfo::exists(folder)) {
        *problem = u"%1: there is something already"_s.arg(path);
        return false;
    }
    const VXManagedObjectModel::Ptr model = VXModelFromFile(modelPath, problem);
    if (!model)
        return false;
    VXError error = VXFileManager::defaultManager().verifyPathExists(QFileInfo(folder).path());
    // Aside at first, so that a death leaves no part of a store in its place.
    const QTemporaryDir aside(QFileInfo(folder).path() + "/.new.XXXXXX"_L1);
    const QString whole = aside.filePath(QFileInfo(folder).fileName());
    if (!error && (!aside.isValid() || !QDir().mkdir(whole)))
        error = VXMakeFileError(u"Unable to make a temporary folder"_s, aside.errorString(), path);
    const QString file = whole + u'/' + QFileInfo(folder).completeBaseName() + u'.';
    if (error || !model->writeToFile(file + "mom"_L1, &error)) {
        *problem = VXErrorText(error, path);
        return false;
    }
    if (!attach(*VXPersistentStoreCoordinator::coordinatorWithModel(model), file + type, {}, problem)) // and is closed
        return false;
    if (std::rename(QFile::encodeName(whole).constData(), QFile::encodeName(folder).constData()) == 0)
        return true;
    *problem = u"%1: %2"_s.arg(path, qt_error_string(errno));
    return false;
}
