#include "VXCoreDataStore.h"

#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXItemCopy.h"
#include "VXMethodLog.h"
#include "VXStoreLock.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <algorithm>
#include <filesystem>

using namespace Qt::StringLiterals;

const QString VXStoreOwnerIdentifierKey = u"$$__VXStoreOwnerIdentifierKey__$$"_s;
const QString VXStoreVersionKey = u"$$__VXStoreVersionKey__$$"_s;
const QString VXStoreSmartFilterVersionKey = u"$$__VXStoreSmartFilterVersionKey__$$"_s;
const QString VXStoreFileExtension = u"vxdatastore"_s;

namespace {

// Whether the file is temporary and no data: a lock file, the file that others queue on for it (VXStoreWorkLock), or a
// file being written (VXAtomicFile).
bool isPassing(const QString &name)
{
    const QString lock = name.endsWith(".turn"_L1) ? name.chopped(5) : name;
    return lock == VXStoreWorkLock::syncName || lock == VXStoreWorkLock::savingName || name.startsWith(".vornix-"_L1);
}

// A name whose only dot is its first character has no extension.
QString extensionOf(const QString &fileName)
{
    return fileName.lastIndexOf(u'.') > 0 ? QFileInfo(fileName).suffix() : QString();
}

// Extensions are case sensitive.
QStringList entriesWithExtensions(const QString &folder, const QStringList &extensions)
{
    QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    names.removeIf([&](const QString &name) { return !extensions.contains(extensionOf(name)); });
    return names;
}

constexpr std::chrono::seconds longestWait(10); // for a process that is replacing the store

// Copies folders with their contents. Symbolic links become the files they lead to, which may not exist where the copy
// is taken.
bool copyEntry(const QFileInfo &entry, const QString &path, VXError *error)
{
    QString reason;
    if (entry.isFile()) {
        QFile source(entry.filePath());
        if (source.copy(path))
            return true;
        reason = source.errorString();
    } else {
        const auto encoded = [](const QString &name) { return QFile::encodeName(name).toStdString(); };
        const std::error_code problem = VXCopyItem(encoded(entry.filePath()), encoded(path));
        if (!problem)
            return true;
        reason = qt_error_string(problem.value());
    }
    VXSetError(error, VXMakeFileError(VXLocalizedString(u"Unable to copy file"_s), reason, entry.filePath()));
    return false;
}

} // namespace

const VXCoreDataStoreClass &VXCoreDataStore::storeClass()
{
    static const VXCoreDataStoreClass instance;
    return instance;
}

VXCoreDataStore::VXCoreDataStore(const QString &path, const QString &dataFileName)
    : _path(path), _dataFileName(dataFileName)
{
}

VXCoreDataStore::~VXCoreDataStore() = default;

VXManagedObjectModel::Ptr VXCoreDataStore::managedObjectModel(VXError *error)
{
    if (_managedObjectModel)
        return _managedObjectModel;
    VXError problem = VXMakeFileError(u"Missing managed object model"_s, {}, _path);
    QList<VXManagedObjectModel::Ptr> models;
    const QStringList names = _path.isNull() ? QStringList() : classOperations().modelFilesForStorePath(_path);
    for (const QString &name : names) {
        if (const auto model = VXManagedObjectModel::modelWithContentsOfFile(_path + u'/' + name, &problem))
            models.append(model);
        else
            VXLogMethod(VXLogError, "managedObjectModel", problem.description());
    }
    if (!models.isEmpty()) {
        _managedObjectModel = VXManagedObjectModel::modelByMergingModels(models, &problem);
        if (!_managedObjectModel)
            VXLogMethod(VXLogError, "managedObjectModel", problem.description());
    }
    if (!_managedObjectModel) {
        VXLogMethod(VXLogError, "managedObjectModel", u"Missing managed object model"_s);
        VXSetError(error, problem);
    }
    return _managedObjectModel;
}

VXPersistentStoreCoordinator::Ptr VXCoreDataStore::persistentStoreCoordinator(VXError *error)
{
    if (_persistentStoreCoordinator)
        return _persistentStoreCoordinator;
    const VXStoreType type = VXCoreDataStoreClass::typeOfDataFile(_dataFileName);
    if (type == VXStoreType::InMemory) {
        _persistentStoreCoordinator = openStores(type, error);
        return _persistentStoreCoordinator;
    }
    VXError problem;
    // Lock before the models are read, so that they and the data belong to the same store.
    const auto purpose = _isReadOnly ? VXStoreLock::Purpose::Read : VXStoreLock::Purpose::Use;
    const VXStoreLock::Ptr lock = VXStoreLock::take(_path, purpose, longestWait, &problem);
    if (!lock) {
        VXLogMethod(VXLogError, "persistentStoreCoordinator", problem.description());
        VXSetError(error, problem);
        return nullptr;
    }
    _persistentStoreCoordinator = openStores(type, error);
    if (_persistentStoreCoordinator)
        _persistentStoreCoordinator->holdWhileOpen(lock);
    return _persistentStoreCoordinator;
}

VXPersistentStoreCoordinator::Ptr VXCoreDataStore::openStores(VXStoreType type, VXError *error)
{
    const VXManagedObjectModel::Ptr model = managedObjectModel(error);
    if (!model)
        return nullptr;
    auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model, error, _objectClasses);
    VXAssert(coordinator != nullptr,
             "Unable to create NSPersistentStoreCoordinator from model(s): "_L1 + VXDescription(_path));
    const bool isAttached = type == VXStoreType::InMemory ? attach(*coordinator, type, {}, {}, error)
                                                          : attachDataFiles(*coordinator, type, error);
    return isAttached ? coordinator : nullptr;
}

// Attaches every data file of the same kind, not only the named one. If there is none, creates the named one.
bool VXCoreDataStore::attachDataFiles(VXPersistentStoreCoordinator &coordinator, VXStoreType type, VXError *error)
{
    const QStringList names = VXCoreDataStoreClass::dataFilesLike(_dataFileName, _path);
    if (!names.isEmpty())
        return std::all_of(names.cbegin(), names.cend(),
                           [&](const QString &name) { return attach(coordinator, type, name, u"loading "_s, error); });
    VXAssert(!_dataFileName.isEmpty(), "Missing data file name: "_L1 + VXDescription(_path));
    return attach(coordinator, type, _dataFileName, u"creating "_s, error);
}

bool VXCoreDataStore::attach(VXPersistentStoreCoordinator &coordinator, VXStoreType type, const QString &fileName,
                             const QString &action, VXError *error)
{
    QString path;
    QString url;
    if (!fileName.isNull()) {
        path = _path + u'/' + fileName;
        const QUrl whole = QUrl::fromLocalFile(path);
        VXAssert(whole.isValid(), "Unable to make url from path: "_L1 + path);
        url = whole.toString(QUrl::FullyEncoded) + ": "_L1;
    }
    VXError problem;
    if (coordinator.addPersistentStore(type, path, {.isReadOnly = _isReadOnly}, &problem))
        return true;
    VXLogMethod(VXLogError, "persistentStoreCoordinator",
                u"%1%2: %3%4"_s.arg(action, VXPersistentStore::nameOfType(type), url, problem.description()));
    VXSetError(error, problem);
    return false;
}

bool VXCoreDataStore::copyTo(const QString &path, VXError *error)
{
    QStringList copied;
    return copyDataFiles(path, &copied, error) &&
           copyEntries(
               path, [&](const QString &name) { return !copied.contains(name) && !isPassing(name); }, error);
}

bool VXCoreDataStore::copyDataTo(const QString &path, VXError *error)
{
    QStringList copied;
    const QStringList models = classOperations().modelFilesForStorePath(_path);
    return copyDataFiles(path, &copied, error) &&
           copyEntries(
               path, [&](const QString &name) { return models.contains(name); }, error);
}

// `copied` also lists the files that SQLite keeps beside them, and the lock file of an XML store.
bool VXCoreDataStore::copyDataFiles(const QString &path, QStringList *copied, VXError *error)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator(error);
    if (!coordinator)
        return false;
    const QStringList names = VXCoreDataStoreClass::dataFilesLike(_dataFileName, _path);
    if (names.isEmpty()) { // the store was moved away after it was opened
        VXSetError(error, VXMakeFileError(VXLocalizedString(u"Missing data store"_s), {}, _path));
        return false;
    }
    if (const VXError problem = VXFileManager::defaultManager().verifyPathExists(path)) {
        VXSetError(error, problem);
        return false;
    }
    return std::ranges::all_of(names, [&](const QString &name) {
        for (const auto end : {""_L1, "-wal"_L1, "-shm"_L1, "-journal"_L1, ".lock"_L1})
            copied->append(name + end);
        const auto store = coordinator->persistentStoreForPath(_path + u'/' + name);
        return store && store->copyTo(path + u'/' + name, error);
    });
}

bool VXCoreDataStore::copyEntries(const QString &path, const std::function<bool(const QString &name)> &isWanted,
                                  VXError *error) const
{
    // used because QDir does not report errors: an unlistable folder must not pass for one without models
    std::error_code problem;
    for (std::filesystem::directory_iterator each(QFile::encodeName(_path).toStdString(), problem), end;
         !problem && each != end; each.increment(problem)) {
        const QFileInfo entry(QFile::decodeName(each->path().c_str()));
        if (isWanted(entry.fileName()) && !copyEntry(entry, path + u'/' + entry.fileName(), error))
            return false;
    }
    if (problem)
        VXSetError(error, VXMakeFileError(VXLocalizedString(u"Unable to copy file"_s),
                                          QString::fromStdString(problem.message()), _path));
    return !problem;
}

QVariantMap VXCoreDataStore::metadata()
{
    if (const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator()) {
        for (const VXPersistentStoreCoordinator::StorePtr &store : coordinator->persistentStores()) {
            const QVariantMap metadata = store->metadata();
            if (metadata.contains(VXStoreOwnerIdentifierKey))
                return metadata;
        }
    }
    VXLogMethod(VXLogWarning, "metadata", u"missing store identifier"_s);
    return {};
}

VXCoreDataStoreClass::~VXCoreDataStoreClass() = default;

VXCoreDataStore::Ptr VXCoreDataStoreClass::storeWithPath(const QString &path) const
{
    if (!QFileInfo::exists(path))
        return nullptr;
    const QStringList names = dataFilesForStorePath(path);
    if (names.isEmpty()) {
        VXLogClassMethod(VXLogError, VXCoreDataStore, "storeWithPath:", "missing data file: "_L1 + path);
        return nullptr;
    }
    if (names.size() > 1)
        VXLogClassMethod(VXLogWarning, VXCoreDataStore, "storeWithPath:", "more than one data file: "_L1 + path);
    return makeStore(path, names.constLast());
}

VXCoreDataStore::Ptr VXCoreDataStoreClass::memoryStoreWithModel(const VXManagedObjectModel::Ptr &model) const
{
    VXCoreDataStore::Ptr store = makeStore({}, {});
    store->_managedObjectModel = model;
    return store;
}

QStringList VXCoreDataStoreClass::modelFilesForStorePath(const QString &path) const
{
    return entriesWithExtensions(path, {u"mom"_s});
}

QStringList VXCoreDataStoreClass::dataFilesForStorePath(const QString &path) const
{
    return entriesWithExtensions(path, {u"sqlite"_s, u"xml"_s});
}

QStringList VXCoreDataStoreClass::dataFilesLike(const QString &dataFileName, const QString &path)
{
    return entriesWithExtensions(path, {extensionOf(dataFileName)});
}

VXStoreType VXCoreDataStoreClass::typeOfDataFile(const QString &dataFileName)
{
    const QString extension = extensionOf(dataFileName);
    if (extension == "sqlite"_L1)
        return VXStoreType::SQLite;
    return extension == "xml"_L1 ? VXStoreType::XML : VXStoreType::InMemory;
}

VXCoreDataStore::Ptr VXCoreDataStoreClass::makeStore(const QString &path, const QString &dataFileName) const
{
    return std::make_shared<VXCoreDataStore>(path, dataFileName);
}
