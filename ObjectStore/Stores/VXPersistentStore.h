#pragma once

#include "VXFetchRequest.h"
#include "VXManagedObjectID.h"
#include "VXManagedObjectModel.h"
#include "VXMutex.h"
#include "VXObjectStoreError.h"
#include "VXStoreRow.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QVariantMap>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

enum class VXStoreType { SQLite, XML, InMemory };

/** How stores are opened. */
struct VXStoreOptions
{
    bool isReadOnly = false;
    /** How long to wait while another process has the store locked. */
    std::chrono::milliseconds busyTimeout = std::chrono::seconds(10);
};

/** What every store's metadata has; users cannot change it. */
VX_STORE_EXPORT extern const QString VXStoreUUIDKey;               // "NSStoreUUID": text
VX_STORE_EXPORT extern const QString VXStoreTypeKey;               // "NSStoreType": "SQLite", "XML" or "InMemory"
VX_STORE_EXPORT extern const QString VXStoreModelVersionHashesKey; // "NSStoreModelVersionHashes": data by entity name

/** What a fetch gives for one object; the row is null when only IDs were asked for. */
struct VXFetchedRow
{
    VXManagedObjectID objectID;
    VXStoreRow::Ptr row;
};

/** How a to-many relationship without a column of its own (to-many at both ends) changes. */
struct VXLinkChange
{
    VXManagedObjectID source;
    const VXRelationshipDescription *relationship;
    QList<VXManagedObjectID> added;
    QList<VXManagedObjectID> removed;
};

/** One object in a save. */
struct VXRowChange
{
    VXManagedObjectID objectID;
    /** Of an inserted or updated object: all its values, with the version it is to have. Null: it is deleted. */
    VXStoreRow::Ptr row;
    /** What it is based on: null for an inserted object. */
    VXStoreRow::Ptr base;
    /** Indexes of the properties that changed; of no meaning for inserted and deleted objects. */
    QList<int> changedProperties = {};
    /** Save it whatever the store holds by now; else a row of another version than `base` is a conflict. */
    bool overwrites = false;
};

struct VXSaveRequest
{
    QList<VXRowChange> changes;
    QList<VXLinkChange> links;
    std::optional<QVariantMap> metadata; // to be saved too
};

/** A row that somebody else changed or deleted since the context read it. */
struct VXRowConflict
{
    VXManagedObjectID objectID;
    VXStoreRow::Ptr stored; // null: it is gone
};

/** A save that has been carried out but is not yet for good. Destroyed without commit it is undone. */
class VXStoreTransaction
{
public:
    virtual ~VXStoreTransaction() = default;
    /** False, with nothing changed, on failure. */
    virtual bool commit(VXError *error) = 0;
};

/**
 * A store as the coordinator uses it. Knows rows, nothing of contexts or objects. Any thread may call; operations of
 * several threads run side by side where the store allows it.
 */
class VX_STORE_EXPORT VXPersistentStore
{
public:
    virtual ~VXPersistentStore();
    VXPersistentStore(const VXPersistentStore &) = delete;
    VXPersistentStore &operator=(const VXPersistentStore &) = delete;

    VXStoreType type() const { return _type; }
    /** As the metadata have it. */
    static QString nameOfType(VXStoreType type);
    /** The data file; null for a store in memory. */
    const QString &path() const { return _path; }
    const VXManagedObjectModel &model() const { return *_model; }
    /** Known once the store is open. */
    const VXStoreIdentity &identity() const { return *_identity; }
    /** Kept with the store: the three entries named above, and what users set. */
    QVariantMap metadata() const;
    /** Replaces what users set; written with the next save. */
    void setMetadata(const QVariantMap &metadata);
    /** The metadata, if it was set since it was last written. */
    std::optional<QVariantMap> unsavedMetadata() const;

    /** Opens or creates the data file. Refuses one that is damaged, or was made with a model that differs, untouched. */
    virtual bool open(VXError *error) = 0;

    /** Hands over the matching rows in order. `needsRows` false: IDs only. `isExact` tells, before the first, whether all of
     * the predicate was decided; if not, no limit and offset was applied, and the caller decides the rest on each. */
    virtual bool fetch(const VXFetchRequest &request, bool needsRows, const std::function<void(VXFetchedRow)> &sink,
                       bool *isExact, VXError *error) = 0;
    /** Empty with an error on failure; empty without one when the store cannot decide all of the predicate. */
    virtual std::optional<qint64> count(const VXFetchRequest &request, VXError *error) = 0;
    /** Null when the object is gone, and then without an error. */
    virtual VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) = 0;
    /** What a to-many relationship leads to, in no particular order; for many objects at once, by source. */
    virtual bool
    related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
            const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
            VXError *error) = 0;

    /** The first of `count` numbers that no object of the root entity has had or will be given again. */
    virtual std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) = 0;
    /**
     * Carries out a save: all or nothing. @return null on failure; with conflicts listed, nothing else is wrong.
     */
    virtual std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                                     VXError *error) = 0;
    /** What an integrity check finds; empty when the store is sound. */
    virtual QStringList check() = 0;

protected:
    VXPersistentStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model);

    /** Called once, by open: the metadata as the data file has it, or initialMetadata() for a new one. */
    void setOpened(const QVariantMap &metadata);
    /** What a new store begins with. */
    QVariantMap initialMetadata() const;
    /** Whether the store has an identifier, and its entities are the same in the model; `reason` names what is wrong. */
    bool isCompatible(const QVariantMap &metadata, QString *reason) const;
    /** Takes over metadata that somebody else wrote; metadata set here that was not written yet stays. */
    void setStoredMetadata(const QVariantMap &metadata);
    void markMetadataSaved(const QVariantMap &saved);

private:
    QVariantMap withOwnEntries(const QVariantMap &metadata) const;

    const VXStoreType _type;
    const QString _path;
    const VXManagedObjectModel::Ptr _model;
    const VXStoreIdentity *_identity = nullptr;

    mutable VXMutex _metadataLock;
    QVariantMap _metadata VX_GUARDED_BY(_metadataLock);
    bool _isMetadataUnsaved VX_GUARDED_BY(_metadataLock) = false;
};
