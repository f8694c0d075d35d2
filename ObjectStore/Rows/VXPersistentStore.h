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

/** Keys in every store's metadata; users cannot change these entries. */
VX_STORE_EXPORT extern const QString VXStoreUUIDKey;               // "NSStoreUUID": text
VX_STORE_EXPORT extern const QString VXStoreTypeKey;               // "NSStoreType": "SQLite", "XML" or "InMemory"
VX_STORE_EXPORT extern const QString VXStoreModelVersionHashesKey; // "NSStoreModelVersionHashes": data by entity name

/** One object of a fetch; the row is null when only IDs were requested. */
struct VXFetchedRow
{
    VXManagedObjectID objectID;
    VXStoreRow::Ptr row;
};

/** The rows that a fetch finds, in order. Keeps what it reads from open, so destroy it when done. One thread. */
class VXRowCursor
{
public:
    enum class Step { Row, End, Failed };

    virtual ~VXRowCursor() = default;
    VXRowCursor(const VXRowCursor &) = delete;
    VXRowCursor &operator=(const VXRowCursor &) = delete;

    /** Whether predicate and order were evaluated completely. If not, order, limit and offset were not applied, and the
     *  caller has to evaluate the rest on each row. */
    bool isExact() const { return _isExact; }
    virtual Step next(VXFetchedRow *row, VXError *error) = 0;

protected:
    explicit VXRowCursor(bool isExact) : _isExact(isExact) {}

private:
    const bool _isExact;
};

/** A change of a to-many relationship without a column of its own (many-to-many). */
struct VXLinkChange
{
    VXManagedObjectID source;
    const VXRelationshipDescription *relationship;
    QList<VXManagedObjectID> added;
    QList<VXManagedObjectID> removed;
};

/** A change of one object in a save. */
struct VXRowChange
{
    VXManagedObjectID objectID;
    /** All values of an inserted or updated object, with its new version. Null for a deleted object. */
    VXStoreRow::Ptr row;
    /** The row that the change is based on; null for an inserted object. */
    VXStoreRow::Ptr base;
    /** Indexes of the changed properties; meaningless for inserted and deleted objects. */
    QList<int> changedProperties = {};
    /** Save it whatever the store has; otherwise a stored version other than that of `base` is a conflict. */
    bool overwrites = false;

    /** Whether all values are written, whatever the store has; of a change that is no deletion. */
    bool isWhole() const { return !base || overwrites; }
};

struct VXSaveRequest
{
    QList<VXRowChange> changes;
    QList<VXLinkChange> links;
    /** Entries of the metadata that are saved as well; those with an invalid value are removed. */
    std::optional<QVariantMap> metadata;
    /** A power cut may undo it until VXPersistentStore::secureSaves, or another save, has made it lasting. */
    bool isSecuredLater = false;
};

/** A row and its to-one relationship that leads to an object. */
struct VXRowReference
{
    VXFetchedRow source;
    const VXRelationshipDescription *relationship;
};

/** Why an object cannot be saved. */
struct VXRowConflict
{
    enum class Kind {
        Changed,    // somebody else has changed or deleted it since the context read it
        Missing,    // it does not exist, but a saved object refers to it
        Referenced, // it is deleted, but a remaining object refers to it
        // of two to-one relationships that are each other's inverse, one end would refer to the other without being
        // referred to; the object is the end that the save does not write
        OneSided,
    };
    VXManagedObjectID objectID;
    VXStoreRow::Ptr stored; // null: it no longer exists
    Kind kind = Kind::Changed;
    // for Referenced: the references to it; for OneSided: the end that refers to it
    QList<VXRowReference> references = {};
};

/** A save that was carried out but is not permanent yet. Destroying it without commit undoes it. */
class VXStoreTransaction
{
public:
    virtual ~VXStoreTransaction() = default;
    /** False, with nothing changed, on failure; with the code SaveUnknown the save may appear after a crash
     *  nevertheless. */
    virtual bool commit(VXError *error) = 0;
};

/** A reference to an object that no longer exists, or that does not refer back. */
struct VXBrokenReference
{
    VXManagedObjectID source;
    const VXRelationshipDescription *relationship;
    VXManagedObjectID target;
    bool isTargetThere;

    QString description() const;
};

/**
 * A store as the coordinator uses it. Handles rows, and knows nothing of contexts or objects. Any thread may call;
 * operations of several threads run in parallel where the store allows it.
 */
class VX_STORE_EXPORT VXPersistentStore
{
public:
    virtual ~VXPersistentStore();
    VXPersistentStore(const VXPersistentStore &) = delete;
    VXPersistentStore &operator=(const VXPersistentStore &) = delete;

    VXStoreType type() const { return _type; }
    /** The name in the metadata. */
    static QString nameOfType(VXStoreType type);
    /** The data file; null for a store in memory. */
    const QString &path() const { return _path; }
    const VXManagedObjectModel &model() const { return *_model; }
    /** Available once the store is open. */
    const VXStoreIdentity &identity() const { return *_identity; }
    /** Stored with the store: the three entries above, and what users set. What others have saved is seen once this
     *  store saves metadata itself; by an XML store, once it reads anything. */
    QVariantMap metadata() const;
    /** Replaces the entries that users set. The next save writes those that differ from metadata(), and leaves the
     *  others as it finds them. */
    void setMetadata(const QVariantMap &metadata);
    /** Sets these entries, and removes those with an invalid value. Leaves all others, as another thread may be setting them. */
    void changeMetadata(const QVariantMap &changes);
    /** The entries to be written with the next save, as in VXSaveRequest; none if there are none. */
    std::optional<QVariantMap> unsavedMetadata() const;

    /** Opens or creates the data file. A file that is damaged, or was made with a different model, is refused and left
     *  unchanged. */
    virtual bool open(VXError *error) = 0;

    /** Closes the file after everything saved was written into it; later calls fail. */
    virtual void close() {}
    /** Closes every store that is still open; for the end of the program. */
    static void closeAll();

    /** The matching rows; if `needsRows` is false, only IDs. @return null on failure. */
    virtual std::unique_ptr<VXRowCursor> fetch(const VXFetchRequest &request, bool needsRows, VXError *error) = 0;
    /** Empty with an error on failure; empty without one when the store cannot evaluate the whole predicate. */
    virtual std::optional<qint64> count(const VXFetchRequest &request, VXError *error) = 0;
    /** Null, without an error, when the object no longer exists. */
    virtual VXStoreRow::Ptr row(const VXManagedObjectID &objectID, VXError *error) = 0;
    /** Passes on the rows of those objects that exist, in no particular order. False on failure. */
    virtual bool rows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(VXFetchedRow)> &sink,
                      VXError *error);
    /** The objects of a to-many relationship, in no particular order; for many sources at once, grouped by source. */
    virtual bool
    related(const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
            const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink,
            VXError *error) = 0;

    /** The first of `count` numbers that no object of the root entity has had, and that will not be given out again. */
    virtual std::optional<qint64> reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error) = 0;
    /**
     * Carries out a save, completely or not at all. @return null on failure; if conflicts are listed, they are the only
     * problem. What is saved may only refer to objects that exist afterwards, and nothing may refer to a deleted
     * object, unless a delete rule allows it; if both ends of a relationship are to-one, they must refer to each other.
     */
    virtual std::unique_ptr<VXStoreTransaction> save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                                     VXError *error) = 0;
    /** Makes lasting, also in a power cut, what was saved with isSecuredLater. */
    virtual bool secureSaves(VXError * /*error*/) { return true; }
    /** Finds a relationship's references to objects that no longer exist. For many-to-many relationships, `related`
     *  leaves these out. */
    virtual bool findMissingTargets(const VXRelationshipDescription &relationship, QList<VXBrokenReference> *found,
                                    VXError *error);
    /** The problems that an integrity check finds; empty for a sound store. */
    virtual QStringList check() = 0;
    /**
     * Removes broken references, and corrects values that do not fit their attribute: a value is converted to the
     * attribute's type if that loses nothing, and otherwise replaced by the default value, or none. Saves that. @return
     * the corrections as texts, with the former values; empty on failure.
     */
    std::optional<QStringList> mend(VXError *error);
    /** Writes the contents to a new file of the same type, while others may continue to save. The copy is the same
     *  store: both cannot be attached together. */
    virtual bool copyTo(const QString &path, VXError *error) = 0;

protected:
    VXPersistentStore(VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model);

    /** To be called once, last of all by open, with the metadata in the data file, or initialMetadata() for a new one:
     *  from then on closeAll closes the store. */
    void setOpened(const QVariantMap &metadata);
    /** For destructors of subclasses that override close: from then on closeAll ignores the store. */
    void setClosed();
    /** The metadata of a new store. */
    QVariantMap initialMetadata() const;
    /** The entries of metadata that say what model a store was made with. */
    QVariantMap modelMetadata() const;
    /** Whether the store has an identifier, and its entities are the same as in the model; otherwise `reason` says what
     *  is wrong. */
    bool isCompatible(const QVariantMap &metadata, QString *reason) const;
    /** Adopts metadata that somebody else wrote; unwritten entries set here are kept. */
    void setStoredMetadata(const QVariantMap &metadata);
    /** Metadata with the entries that a save changes. */
    static QVariantMap changedMetadata(QVariantMap metadata, const QVariantMap &changes);
    void markMetadataSaved(const QVariantMap &changes);
    virtual bool findBrokenReferences(QList<VXBrokenReference> *found, VXError *error) = 0;
    /** For stores that may contain values that do not fit: corrects them and saves that. */
    virtual bool mendValues(QStringList *mended, VXError *error);

private:
    QVariantMap withOwnEntries(QVariantMap metadata) const;
    void noteChanges(const QVariantMap &changes) VX_REQUIRES(_metadataLock);

    const VXStoreType _type;
    const QString _path;
    const VXManagedObjectModel::Ptr _model;
    const VXStoreIdentity *_identity = nullptr;

    mutable VXMutex _metadataLock;
    QVariantMap _storedMetadata VX_GUARDED_BY(_metadataLock);
    QVariantMap _unsavedMetadata VX_GUARDED_BY(_metadataLock); // the entries set since, as in VXSaveRequest
};
