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

/** The rows that a fetch finds, in order. Holds on to what it reads from, so let go of it when done. For one thread. */
class VXRowCursor
{
public:
    enum class Step { Row, End, Failed };

    virtual ~VXRowCursor() = default;
    VXRowCursor(const VXRowCursor &) = delete;
    VXRowCursor &operator=(const VXRowCursor &) = delete;

    /** Whether all of the predicate and the order was decided. If not, no order, limit and offset was applied, and the caller
     * decides the rest on each row. */
    bool isExact() const { return _isExact; }
    virtual Step next(VXFetchedRow *row, VXError *error) = 0;

protected:
    explicit VXRowCursor(bool isExact) : _isExact(isExact) {}

private:
    const bool _isExact;
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

    /** Whether all values are written, whatever the store has; of a change that is no deletion. */
    bool isWhole() const { return !base || overwrites; }
};

struct VXSaveRequest
{
    QList<VXRowChange> changes;
    QList<VXLinkChange> links;
    std::optional<QVariantMap> metadata; // to be saved too
};

/** A row and the to-one relationship of it that leads to an object. */
struct VXRowReference
{
    VXFetchedRow source;
    const VXRelationshipDescription *relationship;
};

/** What stands against the save of an object. */
struct VXRowConflict
{
    enum class Kind {
        Changed,    // somebody else has changed or deleted it since the context read it
        Missing,    // it is not there, but something that is saved leads to it
        Referenced, // it is deleted, but something that stays leads to it
        OneSided, // of a pair, both relationships to-one, one end would lead to the other, and that not back; it is the end
                  // that the save does not write
    };
    VXManagedObjectID objectID;
    VXStoreRow::Ptr stored; // null: it is gone
    Kind kind = Kind::Changed;
    QList<VXRowReference> references = {}; // of one that is referenced: from where; of a pair: the one that leads
};

/** A save that has been carried out but is not yet for good. Destroyed without commit it is undone. */
class VXStoreTransaction
{
public:
    virtual ~VXStoreTransaction() = default;
    /** False, with nothing changed, on failure; with the code SaveUnknown it may come to light after a crash all the same. */
    virtual bool commit(VXError *error) = 0;
};

/** A reference that leads to an object that is gone, or to one that does not lead back. */
struct VXBrokenReference
{
    VXManagedObjectID source;
    const VXRelationshipDescription *relationship;
    VXManagedObjectID target;
    bool isTargetThere;

    QString description() const;
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

    /** Lets go of the file, and brings all that was saved into it; what is called afterwards fails. */
    virtual void close() {}
    /** Closes every store that is still open: for the end of the program. */
    static void closeAll();

    /** The matching rows. `needsRows` false: IDs only. @return null on failure. */
    virtual std::unique_ptr<VXRowCursor> fetch(const VXFetchRequest &request, bool needsRows, VXError *error) = 0;
    /** Empty with an error on failure; empty without one when the store cannot decide all of the predicate. */
    virtual std::optional<qint64> count(const VXFetchRequest &request, VXError *error) = 0;
    /** Null when the object is gone, and then without an error. */
    virtual VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) = 0;
    /** Hands over the rows of those objects that are there, in no particular order. False on failure. */
    virtual bool rows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(VXFetchedRow)> &sink,
                      VXError *error);
    /** What a to-many relationship leads to, in no particular order; for many objects at once, by source. */
    virtual bool
    related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
            const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
            VXError *error) = 0;

    /** The first of `count` numbers that no object of the root entity has had or will be given again. */
    virtual std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) = 0;
    /**
     * Carries out a save: all or nothing. @return null on failure; with conflicts listed, nothing else is wrong. What is saved
     * leads only to objects that are there afterwards, and nothing to one that is deleted, unless a delete rule allows it; where
     * both ends of a relationship are to-one, they lead to each other.
     */
    virtual std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                                     VXError *error) = 0;
    /** The references of a relationship to objects that are gone. Where it is to-many at both ends `related` is without them. */
    virtual bool findMissingTargets(const VXRelationshipDescription &relationship, QList<VXBrokenReference> *found,
                                    VXError *error);
    /** What an integrity check finds; empty when the store is sound. */
    virtual QStringList check() = 0;
    /**
     * Removes the references that are broken, and sets right the values that do not fit their attribute: what says the same in the
     * attribute's type becomes that, all else its default value, or none. Saves that. @return what was mended, as texts, with
     * the values that were; empty on failure.
     */
    std::optional<QStringList> mend(VXError *error);
    /** Writes what the store holds to a new file of the same type, while others may go on saving. The copy is the same
     * store: both cannot be attached together. */
    virtual bool copyTo(const QString &path, VXError *error) = 0;

protected:
    VXPersistentStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model);

    /** Called once, by open: the metadata as the data file has it, or initialMetadata() for a new one. */
    void setOpened(const QVariantMap &metadata);
    /** For the destructors of those who override close: closeAll leaves the store alone from then on. */
    void setClosed();
    /** What a new store begins with. */
    QVariantMap initialMetadata() const;
    /** Whether the store has an identifier, and its entities are the same in the model; `reason` names what is wrong. */
    bool isCompatible(const QVariantMap &metadata, QString *reason) const;
    /** Takes over metadata that somebody else wrote; metadata set here that was not written yet stays. */
    void setStoredMetadata(const QVariantMap &metadata);
    void markMetadataSaved(const QVariantMap &saved);
    virtual bool findBrokenReferences(QList<VXBrokenReference> *found, VXError *error) = 0;
    /** Of stores that can hold values that do not fit: sets them right and saves that. */
    virtual bool mendValues(QStringList *mended, VXError *error);

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
