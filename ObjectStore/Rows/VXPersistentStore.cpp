#include "VXPersistentStore.h"

#include "VXPropertyList.h"

#include <QtCore/QSet>
#include <QtCore/QUuid>

#include <array>

using namespace Qt::StringLiterals;

const QString VXStoreUUIDKey = u"NSStoreUUID"_s;
const QString VXStoreTypeKey = u"NSStoreType"_s;
const QString VXStoreModelVersionHashesKey = u"NSStoreModelVersionHashes"_s;

namespace {

// in the order of the enumerators
constexpr std::array<QLatin1StringView, 3> typeNames = {"SQLite"_L1, "XML"_L1, "InMemory"_L1};

QVariantMap hashesOf(const VXManagedObjectModel &model)
{
    QVariantMap hashes;
    for (auto hash = model.entityVersionHashes().cbegin(); hash != model.entityVersionHashes().cend(); ++hash)
        hashes.insert(hash.key(), hash.value());
    return hashes;
}

// By what a file would hold: 1, 1.0 and true differ.
bool isStoredAlike(const QVariant &a, const QVariant &b)
{
    const auto stored = [](const QVariant &value) {
        return VXPropertyList::toData(value, VXPropertyList::Format::Binary);
    };
    return a.isValid() == b.isValid() && stored(a) == stored(b);
}

/** The open stores of this process. */
struct OpenStores
{
    VXMutex lock;
    QSet<VXPersistentStore *> stores VX_GUARDED_BY(lock);
};

OpenStores &openStores()
{
    static auto &stores = *new OpenStores; // never freed: the last store may outlive anything
    return stores;
}

} // namespace

QString VXBrokenReference::description() const
{
    return u"\"%1\" of %2 leads to %3, which %4."_s.arg(
        relationship->name(), source.isNull() ? u"an object"_s : source.uriRepresentation().toString(),
        target.uriRepresentation().toString(), isTargetThere ? u"does not lead back"_s : u"is not there"_s);
}

VXPersistentStore::VXPersistentStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model)
    : _type(type), _path(path), _model(model)
{
}

VXPersistentStore::~VXPersistentStore()
{
    setClosed();
}

void VXPersistentStore::setClosed()
{
    const VXMutexLocker lock(openStores().lock);
    openStores().stores.remove(this);
}

void VXPersistentStore::closeAll()
{
    const VXMutexLocker lock(openStores().lock);
    for (VXPersistentStore *const store : std::as_const(openStores().stores))
        store->close();
    openStores().stores.clear();
}

QString VXPersistentStore::nameOfType(VXStoreType type)
{
    return typeNames.at(size_t(type));
}

QVariantMap VXPersistentStore::metadata() const
{
    const VXMutexLocker lock(_metadataLock);
    return changedMetadata(_storedMetadata, _unsavedMetadata);
}

void VXPersistentStore::setMetadata(const QVariantMap &metadata)
{
    QVariantMap changes = metadata;
    const VXMutexLocker lock(_metadataLock);
    for (const QString &key : changedMetadata(_storedMetadata, _unsavedMetadata).keys()) {
        if (!metadata.contains(key))
            changes.insert(key, {});
    }
    noteChanges(changes);
}

void VXPersistentStore::changeMetadata(const QVariantMap &changes)
{
    const VXMutexLocker lock(_metadataLock);
    noteChanges(changes);
}

void VXPersistentStore::noteChanges(const QVariantMap &changes)
{
    const QVariantMap present = changedMetadata(_storedMetadata, _unsavedMetadata);
    const QVariantMap wanted = withOwnEntries(changedMetadata(present, changes));
    for (const QString &key : changes.keys()) {
        if (!isStoredAlike(wanted.value(key), present.value(key)))
            _unsavedMetadata.insert(key, wanted.value(key));
    }
}

std::optional<QVariantMap> VXPersistentStore::unsavedMetadata() const
{
    const VXMutexLocker lock(_metadataLock);
    return _unsavedMetadata.isEmpty() ? std::nullopt : std::optional(_unsavedMetadata);
}

QVariantMap VXPersistentStore::changedMetadata(QVariantMap metadata, const QVariantMap &changes)
{
    for (auto entry = changes.cbegin(); entry != changes.cend(); ++entry) {
        if (entry->isValid())
            metadata.insert(entry.key(), *entry);
        else
            metadata.remove(entry.key());
    }
    return metadata;
}

void VXPersistentStore::setOpened(const QVariantMap &metadata)
{
    _identity = &VXStoreIdentity::withIdentifier(metadata.value(VXStoreUUIDKey).toString());
    setStoredMetadata(metadata);
    const VXMutexLocker lock(openStores().lock);
    openStores().stores.insert(this);
}

QVariantMap VXPersistentStore::initialMetadata() const
{
    QVariantMap made = modelMetadata();
    made.insert(VXStoreUUIDKey, QUuid::createUuid().toString(QUuid::WithoutBraces));
    made.insert(VXStoreTypeKey, nameOfType(_type));
    return made;
}

// The model may have more entities than the store was made with; from now on the store has all of them.
QVariantMap VXPersistentStore::modelMetadata() const
{
    return {{VXStoreModelVersionHashesKey, hashesOf(*_model)}};
}

QVariantMap VXPersistentStore::withOwnEntries(QVariantMap metadata) const
{
    metadata.insert(VXStoreUUIDKey, _identity->identifier());
    metadata.insert(VXStoreTypeKey, nameOfType(_type));
    return changedMetadata(metadata, modelMetadata());
}

bool VXPersistentStore::isCompatible(const QVariantMap &metadata, QString *reason) const
{
    if (QUuid::fromString(metadata.value(VXStoreUUIDKey).toString()).isNull()) {
        *reason = u"The store has no identifier."_s;
        return false;
    }
    const QVariant stored = metadata.value(VXStoreModelVersionHashesKey);
    if (stored.metaType() != QMetaType::fromType<QVariantMap>()) {
        *reason = u"The store does not tell what model it was made with."_s;
        return false;
    }
    const QVariantMap hashes = stored.toMap();
    for (auto hash = hashes.cbegin(); hash != hashes.cend(); ++hash) {
        const auto own = _model->entityVersionHashes().constFind(hash.key());
        if (own != _model->entityVersionHashes().cend() && *own == hash->toByteArray())
            continue;
        *reason = own == _model->entityVersionHashes().cend()
                      ? u"The model has no entity \"%1\"."_s.arg(hash.key())
                      : u"Entity \"%1\" differs from the one in the model."_s.arg(hash.key());
        return false;
    }
    return true;
}

void VXPersistentStore::setStoredMetadata(const QVariantMap &metadata)
{
    const QVariantMap complete = withOwnEntries(metadata);
    const VXMutexLocker lock(_metadataLock);
    _storedMetadata = complete;
}

void VXPersistentStore::markMetadataSaved(const QVariantMap &changes)
{
    const VXMutexLocker lock(_metadataLock);
    _storedMetadata = changedMetadata(_storedMetadata, changes);
    for (auto entry = changes.cbegin(); entry != changes.cend(); ++entry) {
        const auto unsaved = _unsavedMetadata.constFind(entry.key());
        if (unsaved != _unsavedMetadata.cend() && *unsaved == *entry) // not set to something else meanwhile
            _unsavedMetadata.erase(unsaved);
    }
}

bool VXPersistentStore::rows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(VXFetchedRow)> &sink,
                             VXError *error)
{
    for (const VXManagedObjectID &objectID : objectIDs) {
        VXError problem;
        if (VXStoreRow::Ptr found = row(objectID, &problem); found) {
            sink({objectID, std::move(found)});
        } else if (problem) {
            VXSetError(error, problem);
            return false;
        }
    }
    return true;
}

bool VXPersistentStore::findMissingTargets(const VXRelationshipDescription &relationship,
                                           QList<VXBrokenReference> *found, VXError *error)
{
    if (!findBrokenReferences(found, error))
        return false;
    found->removeIf(
        [&](const VXBrokenReference &each) { return each.relationship != &relationship || each.isTargetThere; });
    return true;
}

bool VXPersistentStore::mendValues(QStringList *, VXError *)
{
    return true;
}

// Values first, since some make a row unreadable; then references, by an ordinary save, so that others who have read a
// row notice the change.
std::optional<QStringList> VXPersistentStore::mend(VXError *error)
{
    QList<VXBrokenReference> broken;
    QStringList mended;
    if (!mendValues(&mended, error) || !findBrokenReferences(&broken, error))
        return std::nullopt;
    VXSaveRequest request;
    QHash<VXManagedObjectID, std::pair<std::shared_ptr<VXStoreRow>, qsizetype>> changed; // and the index in the request
    for (const VXBrokenReference &each : std::as_const(broken)) {
        if (each.source.isNull())
            continue;
        mended.append(each.description());
        if (each.relationship->isToMany()) {
            request.links.append({each.source, each.relationship, {}, {each.target}});
            continue;
        }
        auto &[mendedRow, place] = changed[each.source];
        if (!mendedRow) {
            const VXStoreRow::Ptr base = row(each.source, error);
            if (!base)
                return std::nullopt;
            mendedRow = base->copy(base->version() + 1);
            place = request.changes.size();
            request.changes.append({each.source, mendedRow, base});
        }
        mendedRow->clear(each.relationship->index());
        request.changes[place].changedProperties.append(each.relationship->index());
    }
    QList<VXRowConflict> conflicts;
    const bool isSaved = request.changes.isEmpty() && request.links.isEmpty();
    const auto transaction = isSaved ? nullptr : save(request, &conflicts, error);
    if (isSaved || (transaction && transaction->commit(error)))
        return mended;
    if (!conflicts.isEmpty())
        VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::MergeConflict, u"The store cannot be mended."_s,
                                             u"Somebody else is changing it."_s, path()));
    return std::nullopt;
}
