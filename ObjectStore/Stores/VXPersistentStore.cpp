#include "VXPersistentStore.h"

#include <QtCore/QUuid>

#include <array>

using namespace Qt::StringLiterals;

const QString VXStoreUUIDKey = u"NSStoreUUID"_s;
const QString VXStoreTypeKey = u"NSStoreType"_s;
const QString VXStoreModelVersionHashesKey = u"NSStoreModelVersionHashes"_s;

namespace {

constexpr std::array<QLatin1StringView, 3> typeNames = {"SQLite"_L1, "XML"_L1, "InMemory"_L1}; // as the enumeration

QVariantMap hashesOf(const VXManagedObjectModel &model)
{
    QVariantMap hashes;
    for (auto hash = model.entityVersionHashes().cbegin(); hash != model.entityVersionHashes().cend(); ++hash)
        hashes.insert(hash.key(), hash.value());
    return hashes;
}

} // namespace

VXPersistentStore::VXPersistentStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model)
    : _type(type), _path(path), _model(model)
{
}

VXPersistentStore::~VXPersistentStore() = default;

QString VXPersistentStore::nameOfType(VXStoreType type)
{
    return typeNames.at(size_t(type));
}

QVariantMap VXPersistentStore::metadata() const
{
    const VXMutexLocker lock(_metadataLock);
    return _metadata;
}

void VXPersistentStore::setMetadata(const QVariantMap &metadata)
{
    const QVariantMap complete = withOwnEntries(metadata);
    const VXMutexLocker lock(_metadataLock);
    _isMetadataUnsaved = _isMetadataUnsaved || complete != _metadata;
    _metadata = complete;
}

std::optional<QVariantMap> VXPersistentStore::unsavedMetadata() const
{
    const VXMutexLocker lock(_metadataLock);
    return _isMetadataUnsaved ? std::optional(_metadata) : std::nullopt;
}

void VXPersistentStore::setOpened(const QVariantMap &metadata)
{
    _identity = &VXStoreIdentity::withIdentifier(metadata.value(VXStoreUUIDKey).toString());
    setStoredMetadata(metadata);
}

QVariantMap VXPersistentStore::initialMetadata() const
{
    QVariantMap made{{VXStoreUUIDKey, QUuid::createUuid().toString(QUuid::WithoutBraces)},
                     {VXStoreTypeKey, nameOfType(_type)},
                     {VXStoreModelVersionHashesKey, hashesOf(*_model)}};
    return made;
}

// The model may have entities in addition to those the store was made with: from now on it has them all.
QVariantMap VXPersistentStore::withOwnEntries(const QVariantMap &metadata) const
{
    QVariantMap complete = metadata;
    complete.insert(VXStoreUUIDKey, _identity->identifier());
    complete.insert(VXStoreTypeKey, nameOfType(_type));
    complete.insert(VXStoreModelVersionHashesKey, hashesOf(*_model));
    return complete;
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
    if (!_isMetadataUnsaved)
        _metadata = complete;
}

void VXPersistentStore::markMetadataSaved(const QVariantMap &saved)
{
    const VXMutexLocker lock(_metadataLock);
    if (_metadata == saved)
        _isMetadataUnsaved = false;
}
