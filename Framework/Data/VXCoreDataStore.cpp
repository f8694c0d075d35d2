#include "VXCoreDataStore.h"

#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXMethodLog.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

const QString VXStoreOwnerIdentifierKey = u"$$__VXStoreOwnerIdentifierKey__$$"_s;
const QString VXStoreVersionKey = u"$$__VXStoreVersionKey__$$"_s;
const QString VXStoreFileExtension = u"vxdatastore"_s;

namespace {

// A name that only begins with a dot has none.
QString extensionOf(const QString &fileName)
{
    return fileName.lastIndexOf(u'.') > 0 ? QFileInfo(fileName).suffix() : QString();
}

// Extensions are compared as they are written: capitals make another one.
QStringList entriesWithExtensions(const QString &folder, const QStringList &extensions)
{
    QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    names.removeIf([&](const QString &name) { return !extensions.contains(extensionOf(name)); });
    return names;
}

VXStoreType typeForDataFile(const QString &fileName)
{
    const QString extension = extensionOf(fileName);
    if (extension == "sqlite"_L1)
        return VXStoreType::SQLite;
    return extension == "xml"_L1 ? VXStoreType::XML : VXStoreType::InMemory;
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

VXPersistentStoreCoordinator::Ptr VXCoreDataStore::persistentStoreCoordinator()
{
    if (_persistentStoreCoordinator)
        return _persistentStoreCoordinator;
    const VXManagedObjectModel::Ptr model = managedObjectModel();
    if (!model)
        return nullptr;
    const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
    VXAssert(coordinator != nullptr,
             "Unable to create NSPersistentStoreCoordinator from model(s): "_L1 + VXDescription(_path));
    const VXStoreType type = typeForDataFile(_dataFileName);
    const bool isAttached =
        type == VXStoreType::InMemory ? attachMemoryStore(*coordinator) : attachDataFiles(*coordinator, type);
    if (isAttached)
        _persistentStoreCoordinator = coordinator;
    return _persistentStoreCoordinator;
}

bool VXCoreDataStore::attachMemoryStore(VXPersistentStoreCoordinator &coordinator)
{
    VXError error;
    if (coordinator.addPersistentStore(VXStoreType::InMemory, {}, {}, &error))
        return true;
    VXLogMethod(VXLogError, "persistentStoreCoordinator",
                u"%1: %2"_s.arg(VXPersistentStore::nameOfType(VXStoreType::InMemory), error.description()));
    return false;
}

// Every data file of the kind, not only the one that is named; without any the named one is made.
bool VXCoreDataStore::attachDataFiles(VXPersistentStoreCoordinator &coordinator, VXStoreType type)
{
    const QStringList names = entriesWithExtensions(_path, {extensionOf(_dataFileName)});
    if (!names.isEmpty())
        return std::all_of(names.cbegin(), names.cend(),
                           [&](const QString &name) { return attach(coordinator, type, name, u"loading"_s); });
    VXAssert(!_dataFileName.isEmpty(), "Missing data file name: "_L1 + VXDescription(_path));
    return attach(coordinator, type, _dataFileName, u"creating"_s);
}

bool VXCoreDataStore::attach(VXPersistentStoreCoordinator &coordinator, VXStoreType type, const QString &fileName,
                             const QString &verb)
{
    const QString path = _path + u'/' + fileName;
    const QUrl url = QUrl::fromLocalFile(path);
    VXAssert(url.isValid(), "Unable to make url from path: "_L1 + path);
    VXError error;
    if (coordinator.addPersistentStore(type, path, {}, &error))
        return true;
    VXLogMethod(VXLogError, "persistentStoreCoordinator",
                u"%1 %2: %3: %4"_s.arg(verb, VXPersistentStore::nameOfType(type), url.toString(QUrl::FullyEncoded),
                                       error.description()));
    return false;
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

VXCoreDataStore::Ptr VXCoreDataStoreClass::makeStore(const QString &path, const QString &dataFileName) const
{
    return std::make_shared<VXCoreDataStore>(path, dataFileName);
}
