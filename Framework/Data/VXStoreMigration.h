#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <atomic>
#include <optional>

class VXManagedObjectContext;

/** New objects by the IDs of those they stand for. */
using VXMigratedObjects = QHash<VXManagedObjectID, VXManagedObjectPtr>;

/** The new object for the target of a relationship; null also for one that the new relationship, if there is one, cannot lead to. */
VXManagedObjectPtr VXMigratedTarget(const VXManagedObjectID &oldID, const VXMigratedObjects &newObjects,
                                    const VXRelationshipDescription *made);

/** A property of an old object, and what the new one has by that name; nullptr where one has none. */
struct VXPropertyPair
{
    const VXPropertyDescription *old = nullptr;
    const VXPropertyDescription *made = nullptr;
};

/** What became of the objects of one entity, not of those that inherit from it, in a copy. */
struct VXEntityMigration
{
    QString entity;
    qint64 found = 0;
    qint64 copied = 0;
    qint64 ignored = 0;                       // the plugin gave no new object for them
    QMap<QString, qint64> changedValues = {}; // by attribute: values that the plugin's hooks changed
    QStringList droppedProperties = {};       // what some had, the new ones have not, and no hook took care of
    QMap<QString, qint64> notFound = {};      // by relationship: references to objects that were not copied

    bool isUnchanged() const
    {
        return ignored == 0 && changedValues.isEmpty() && droppedProperties.isEmpty() && notFound.isEmpty();
    }
};

/**
 * One run of copying a store: how far it is, whether it is to end, and what became of the objects. The copy passes of
 * VXDataPlugin find the run of their thread and note there what they do; without one they work all the same. Progress and
 * cancelling: any thread. The rest: the copying thread, and whoever comes after it.
 */
class VX_EXPORT VXStoreMigration
{
public:
    enum class Phase { Starting, Attributes, Relationships, Comparing, Checking, Saving, Verifying };

    /** For its length the run is the thread's. */
    class VX_EXPORT Scope
    {
    public:
        explicit Scope(VXStoreMigration &migration);
        ~Scope();
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;

    private:
        VXStoreMigration *const _before;
    };

    VXStoreMigration() = default;
    VXStoreMigration(const VXStoreMigration &) = delete;
    VXStoreMigration &operator=(const VXStoreMigration &) = delete;

    /** nullptr when the thread copies on its own account. */
    static VXStoreMigration *current();

    // -- Any thread
    /** The passes end, with the cancelled error, before their next object. */
    void cancel() { _isCancelled = true; }
    bool isCancelled() const { return _isCancelled; }
    Phase phase() const { return _phase; }
    /** What users read of it. */
    QString phaseText() const;
    /** Objects of the phase that are done, and how many there are; 0 when nobody knows. */
    qint64 done() const { return _done; }
    qint64 total() const { return _total; }

    // -- Set before it begins
    /** Nobody sees the destination before the run has succeeded, so that a part of it may be saved earlier. */
    void setIntoNewStore(bool isNew) { _isIntoNewStore = isNew; }
    bool isIntoNewStore() const { return _isIntoNewStore; }
    /** The destination is in use and keeps what it has: what is only about the source, as its undo history, has no place there. */
    void setMerge(bool isMerge) { _isMerge = isMerge; }
    bool isMerge() const { return _isMerge; }
    /** The copy is held against its source before it is saved, and, in a new store, read once more afterwards. */
    void setVerifies(bool verifies) { _verifies = verifies; }
    bool verifies() const { return _verifies; }

    // -- The copying thread
    void begin(Phase phase, qint64 total = 0);
    void advance(qint64 objects = 1)
    {
        _done.store(_done.load(std::memory_order_relaxed) + objects, std::memory_order_relaxed);
    }
    VXEntityMigration &entity(const QString &name);
    /** For who asks for one after the other, in their order: those mostly are not looked up. */
    VXPropertyPair propertiesNamed(const QString &name, const VXEntityDescription &old,
                                   const VXEntityDescription &made);
    /** How many of an entity's objects have a new one; the others were left out. */
    void noteCopied(const QString &name, qint64 count);
    /** The plugin's check of the source has added, or changed, that object: it is not what the store holds. */
    void noteRepaired(const VXManagedObjectID &oldID) { _repaired.insert(oldID); }
    bool isRepaired(const VXManagedObjectID &oldID) const { return !_repaired.isEmpty() && _repaired.contains(oldID); }
    /** A value that is not what the old object has, as a hook was asked for it. */
    void noteChange(const VXPropertyDescription &old, const VXManagedObjectID &oldID, const QVariant &value)
    {
        if (!isRepaired(oldID))
            _changes[&old] += digestOf(oldID, value);
    }
    /** Of all those changes, whatever their order; none when nothing was changed. */
    std::optional<quint64> digestOfChanges(const VXPropertyDescription &old) const;
    static quint64 digestOf(const VXManagedObjectID &oldID, const QVariant &value);
    /** References that were told to be left out, because the new relationship has room for one only. */
    void noteWithoutRoom(const VXPropertyDescription &old, qint64 count) { _withoutRoom[&old] += count; }
    qint64 countWithoutRoom(const VXPropertyDescription &old) const { return _withoutRoom.value(&old); }
    /** The hooks wanted nothing saved. */
    void noteNothingSaved();
    bool savesNothing() const { return _savesNothing; }
    /** In the order they were copied; none that had no objects. */
    const QList<VXEntityMigration> &entities() const { return _entities; }
    /** An object that stands for an old one, as a hook gave it. */
    void noteMade(const VXManagedObject &made);
    /** The objects that were copied, held until the run is gone. */
    void setNewObjects(const VXMigratedObjects &newObjects);
    /** Whether hooks gave that new object for more than one old one: then it has the values of one of them, and leads to what any of
     * them led to. Once the new objects are set. */
    bool standsForSeveral(const VXManagedObject &made) const { return !_shared.isEmpty() && _shared.contains(&made); }
    const VXMigratedObjects &newObjects() const { return _newObjects; }
    void forgetNewObjects()
    {
        _shared.clear();
        _newObjects.clear();
    }

private:
    bool _isIntoNewStore = false;
    bool _isMerge = false;
    bool _verifies = false;
    std::atomic<bool> _isCancelled = false;
    std::atomic<Phase> _phase = Phase::Starting;
    std::atomic<qint64> _done = 0;
    std::atomic<qint64> _total = 0;
    QList<VXEntityMigration> _entities;
    VXMigratedObjects _newObjects;
    qint64 _newestNumber = 0;              // of the temporary IDs that were noted: they ascend
    bool _mayShare = false;                // one was noted that is no newer than those before
    QSet<const VXManagedObject *> _shared; // of the new objects
    QSet<VXManagedObjectID> _repaired;     // of the source
    QHash<const VXPropertyDescription *, quint64> _changes;
    QHash<const VXPropertyDescription *, qint64> _withoutRoom;
    bool _savesNothing = false;
    std::pair<const VXEntityDescription *, const VXEntityDescription *> _shape; // old and new, of the pairs below
    QList<VXPropertyPair> _pairs;
    qsizetype _nextPair = 0; // where the next name is looked for
};
