#include "VXPersistentStoreCoordinator.h"

#include "VXRowTableStore.h"
#include "VXSQLiteStore.h"
#include "VXStorePath.h"
#include "VXXMLStore.h"

#include <QtCore/QFileInfo>

#include <algorithm>
#include <vector>

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

// The first object in another store that a change refers to; empty when all are in the same store.
std::optional<VXManagedObjectID> strangerIn(const VXRowChange &change)
{
    if (!change.row)
        return std::nullopt;
    for (const VXRelationshipDescription *const relationship : change.objectID.entity().relationships()) {
        if (!change.isWhole() && !change.changedProperties.contains(relationship->index()))
            continue; // as it is stored
        const VXManagedObjectID *const target = change.row->target(relationship->index());
        if (target != nullptr && target->store() != change.objectID.store())
            return *target;
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

/** The prepared part of a save in one store. */
struct Prepared
{
    VXPersistentStore *store;
    std::unique_ptr<VXStoreTransaction> transaction;
};

// Commits those first that may still fail: an SQLite store writes at the commit, an XML store only renames its file,
// and a store in memory cannot fail.
bool commit(std::vector<Prepared> prepared, QSet<const VXStoreIdentity *> *saved, VXError *error)
{
    std::stable_sort(prepared.begin(), prepared.end(),
                     [](const Prepared &a, const Prepared &b) { return a.store->type() < b.store->type(); });
    QStringList savedPaths;
    for (const Prepared &each : prepared) {
        VXError problem;
        if (each.transaction->commit(&problem)) {
            saved->insert(&each.store->identity());
            savedPaths.append(each.store->path());
            continue;
        }
        const QString reason = problem.localizedDescription() + u' ' + problem.localizedRecoverySuggestion();
        VXSetError(error, savedPaths.isEmpty()
                              ? problem
                              : VXObjectStoreError(
                                    VXObjectStoreErrorCode::SavedInPart, u"A part of the objects was saved."_s,
                                    u"Saved were those of %1; but here: %2"_s.arg(savedPaths.join(", "_L1), reason),
                                    each.store->path()));
        return false;
    }
    saved->clear(); // all stores have committed
    return true;
}

} // namespace

VXPersistentStoreCoordinator::VXPersistentStoreCoordinator(const VXManagedObjectModel::Ptr &model,
                                                           VXObjectClasses classes)
    : _model(model), _objectClasses(classes)
{
}

VXPersistentStoreCoordinator::Ptr
VXPersistentStoreCoordinator::coordinatorWithModel(const VXManagedObjectModel::Ptr &model, VXError *error,
                                                   VXObjectClasses classes)
{
    if (model)
        return Ptr(new VXPersistentStoreCoordinator(model, classes));
    VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::StoreIncompatibleModel,
                                         u"The stores cannot be opened."_s, u"There is no model."_s));
    return nullptr;
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
    const std::optional<QString> real = type == VXStoreType::InMemory ? QString() : VXRealStorePath(path, error);
    if (!real)
        return nullptr;
    StorePtr store = makeStore(type, *real, _model, options);
    return addPersistentStore(store, error) ? store : nullptr;
}

bool VXPersistentStoreCoordinator::addPersistentStore(const StorePtr &store, VXError *error)
{
    if (!store->open(error))
        return false;
    const VXMutexLocker lock(_lock);
    const auto isTwin = [&](const StorePtr &each) { return &each->identity() == &store->identity(); };
    const auto twin = std::find_if(_stores.cbegin(), _stores.cend(), isTwin);
    if (twin == _stores.cend()) {
        _stores.append(store);
        return true;
    }
    const bool isSame = isSameFile((*twin)->path(), store->path());
    VXSetError(error,
               attachError(VXObjectStoreErrorCode::InvalidStore,
                           isSame ? u"It is attached already."_s
                                  : u"It has the identifier of %1, and so one of them is a copy of the other."_s.arg(
                                        (*twin)->path()),
                           store->path()));
    return false;
}

bool VXPersistentStoreCoordinator::removePersistentStore(const StorePtr &store, VXError *error)
{
    const bool wasAttached = [&] {
        const VXMutexLocker lock(_lock);
        return _stores.removeOne(store);
    }();
    if (wasAttached) {
        store->close();
        return true;
    }
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
    const std::optional<QString> real = type == VXStoreType::InMemory ? QString() : VXRealStorePath(path, error);
    if (!real)
        return {};
    switch (type) {
    case VXStoreType::SQLite:
        return VXSQLiteStore::metadataOfFile(*real, error);
    case VXStoreType::XML:
        return VXXMLStore::metadataOfFile(*real, error);
    case VXStoreType::InMemory:
        break;
    }
    VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::IncompatibleStoreType,
                                         u"The metadata cannot be read."_s, u"A store in memory has no file."_s));
    return {};
}

bool VXPersistentStoreCoordinator::save(const QHash<const VXStoreIdentity *, VXSaveRequest> &requests,
                                        QList<VXRowConflict> *conflicts, QSet<const VXStoreIdentity *> *saved,
                                        VXError *error)
{
    QList<StorePtr> stores; // always in the order of attachment, so that two saves cannot deadlock
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
    std::vector<Prepared> prepared;
    for (const StorePtr &store : stores) {
        const VXSaveRequest &request = *requests.constFind(&store->identity());
        if (!staysInStore(request.changes, error) || !staysInStore(request.links, error))
            return false;
        const qsizetype before = found.size();
        prepared.push_back({store.get(), store->save(request, &found, error)});
        if (!prepared.back().transaction && found.size() == before)
            return false;
    }
    if (!found.isEmpty()) {
        conflicts->append(found);
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::MergeConflict, u"The objects cannot be saved."_s,
                                             u"Somebody else has changed them."_s));
        return false;
    }
    return commit(std::move(prepared), saved, error);
}

bool VXPersistentStoreCoordinator::secureSaves(VXError *error)
{
    bool areSecured = true;
    for (const StorePtr &store : persistentStores())
        areSecured = store->secureSaves(error) && areSecured;
    return areSecured;
}
