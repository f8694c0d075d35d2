#include "VXPersistentStoreCoordinator.h"

#include "VXRowTableStore.h"
#include "VXSQLiteStore.h"
#include "VXXMLStore.h"

#include <QtCore/QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using StorePtr = VXPersistentStoreCoordinator::StorePtr;

VXError attachError(VXObjectStoreErrorCode code, const QString &reason, const QString &path)
{
    return VXObjectStoreError(code, u"The store cannot be attached."_s, reason, path);
}

StorePtr makeStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model,
                   const VXStoreOptions &options)
{
    switch (type) {
    case VXStoreType::SQLite:
        return std::make_shared<VXSQLiteStore>(path, model, options);
    case VXStoreType::XML:
        return std::make_shared<VXXMLStore>(path, model, options);
    case VXStoreType::InMemory:
        break;
    }
    return std::make_shared<VXRowTableStore>(model);
}

bool isSameFile(const QString &a, const QString &b)
{
    return !a.isNull() && !b.isNull() && QFileInfo(a) == QFileInfo(b);
}

// The first object that a change leads to in another store; empty when all are in its own.
std::optional<VXManagedObjectID> strangerIn(const VXRowChange &change)
{
    if (!change.row)
        return std::nullopt;
    for (const VXRelationshipDescription *const relationship : change.objectID.entity().relationships()) {
        const QVariant &value = change.row->value(relationship->index());
        if (value.metaType() != QMetaType::fromType<VXManagedObjectID>())
            continue;
        if (const auto target = value.value<VXManagedObjectID>(); target.store() != change.objectID.store())
            return target;
    }
    return std::nullopt;
}

std::optional<VXManagedObjectID> strangerIn(const VXLinkChange &change)
{
    for (const VXManagedObjectID &target : change.added) {
        if (target.store() != change.source.store())
            return target;
    }
    return std::nullopt;
}

template <class Changes>
bool staysInStore(const Changes &changes, VXError *error)
{
    for (const auto &change : changes) {
        const std::optional<VXManagedObjectID> stranger = strangerIn(change);
        if (!stranger)
            continue;
        VXSetError(error,
                   VXObjectStoreError(VXObjectStoreErrorCode::ReferentialIntegrity, u"The objects cannot be saved."_s,
                                      u"A relationship leads to an object of another store, %1."_s.arg(
                                          stranger->uriRepresentation().toString())));
        return false;
    }
    return true;
}

} // namespace

VXPersistentStoreCoordinator::VXPersistentStoreCoordinator(const VXManagedObjectModel::Ptr &model,
                                                           VXObjectClasses classes)
    : _model(model), _objectClasses(classes)
{
}

VXPersistentStoreCoordinator::Ptr
VXPersistentStoreCoordinator::coordinatorWithModel(const VXManagedObjectModel::Ptr &model, VXObjectClasses classes)
{
    return model ? Ptr(new VXPersistentStoreCoordinator(model, classes)) : nullptr;
}

void VXPersistentStoreCoordinator::holdWhileOpen(const std::shared_ptr<const void> &resource)
{
    const VXMutexLocker lock(_lock);
    _held.append(resource);
}

StorePtr VXPersistentStoreCoordinator::addPersistentStore(VXStoreType type, const QString &path,
                                                          const VXStoreOptions &options, VXError *error)
{
    using Code = VXObjectStoreErrorCode;
    if (type != VXStoreType::InMemory && path.isEmpty()) {
        VXSetError(error, attachError(Code::IncompatibleStoreType, u"It has no path."_s, {}));
        return nullptr;
    }
    StorePtr store = makeStore(type, path, _model, options);
    if (!store->open(error))
        return nullptr;
    const VXMutexLocker lock(_lock);
    const auto isTwin = [&](const StorePtr &each) { return &each->identity() == &store->identity(); };
    if (std::none_of(_stores.cbegin(), _stores.cend(), isTwin)) {
        _stores.append(store);
        return store;
    }
    VXSetError(error, attachError(Code::InvalidStore, u"It is attached already, or a copy of it is."_s, path));
    return nullptr;
}

bool VXPersistentStoreCoordinator::removePersistentStore(const StorePtr &store, VXError *error)
{
    const VXMutexLocker lock(_lock);
    if (_stores.removeOne(store))
        return true;
    VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore, u"The store cannot be removed."_s,
                                         u"It is not attached."_s));
    return false;
}

QList<StorePtr> VXPersistentStoreCoordinator::persistentStores() const
{
    const VXMutexLocker lock(_lock);
    return _stores;
}

StorePtr VXPersistentStoreCoordinator::persistentStoreForPath(const QString &path) const
{
    for (const StorePtr &store : persistentStores()) {
        if (isSameFile(store->path(), path))
            return store;
    }
    return nullptr;
}

StorePtr VXPersistentStoreCoordinator::persistentStoreForIdentity(const VXStoreIdentity &identity) const
{
    const VXMutexLocker lock(_lock);
    for (const StorePtr &store : _stores) {
        if (&store->identity() == &identity)
            return store;
    }
    return nullptr;
}

VXManagedObjectID VXPersistentStoreCoordinator::objectIDForURIRepresentation(const QUrl &uri) const
{
    const QStringList parts = uri.path().split(u'/'); // "", entity, "p" and number
    if (uri.scheme() != "x-coredata"_L1 || parts.size() != 3 || !parts[2].startsWith(u'p'))
        return {};
    const VXEntityDescription *const entity = _model->entityForName(parts[1]);
    bool isNumber = false;
    const qint64 number = parts[2].mid(1).toLongLong(&isNumber);
    if (entity == nullptr || entity->isAbstract() || !isNumber || number < 1)
        return {};
    for (const StorePtr &store : persistentStores()) {
        if (store->identity().identifier() == uri.host())
            return {*entity, store->identity(), number};
    }
    return {};
}

QVariantMap VXPersistentStoreCoordinator::metadataForPersistentStore(VXStoreType type, const QString &path,
                                                                     VXError *error)
{
    switch (type) {
    case VXStoreType::SQLite:
        return VXSQLiteStore::metadataOfFile(path, error);
    case VXStoreType::XML:
        return VXXMLStore::metadataOfFile(path, error);
    case VXStoreType::InMemory:
        break;
    }
    VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::IncompatibleStoreType,
                                         u"The metadata cannot be read."_s, u"A store in memory has no file."_s));
    return {};
}

bool VXPersistentStoreCoordinator::save(const QHash<const VXStoreIdentity *, VXSaveRequest> &requests,
                                        QList<VXRowConflict> *conflicts, VXError *error)
{
    QList<StorePtr> stores; // always in the order they were attached, so that two saves cannot wait for each other
    for (const StorePtr &store : persistentStores()) {
        if (requests.contains(&store->identity()))
            stores.append(store);
    }
    if (stores.size() != requests.size()) {
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore, u"The objects cannot be saved."_s,
                                             u"Their store is not attached any more."_s));
        return false;
    }
    QList<VXRowConflict> found;
    std::vector<std::unique_ptr<VXStoreTransaction>> transactions;
    for (const StorePtr &store : stores) {
        const VXSaveRequest &request = *requests.constFind(&store->identity());
        if (!staysInStore(request.changes, error) || !staysInStore(request.links, error))
            return false;
        const qsizetype before = found.size();
        transactions.push_back(store->save(request, &found, error));
        if (!transactions.back() && found.size() == before)
            return false;
    }
    if (!found.isEmpty()) {
        conflicts->append(found);
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::MergeConflict, u"The objects cannot be saved."_s,
                                             u"Somebody else has changed them."_s));
        return false;
    }
    return std::all_of(transactions.cbegin(), transactions.cend(),
                       [error](const auto &transaction) { return transaction->commit(error); });
}
