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

/** New objects by the IDs of the old ones they stand for. */
using VXMigratedObjects = QHash<VXManagedObjectID, VXManagedObjectPtr>;

/**
 * The new object for the target of a relationship; null if there is none, or if the new relationship, if any, cannot
 * lead to it.
 */
VXManagedObjectPtr VXMigratedTarget(const VXManagedObjectID &oldID, const VXMigratedObjects &newObjects,
                                    const VXRelationshipDescription *made);

/** A property of an old object, and that of the same name in the new one; nullptr where there is none. */
struct VXPropertyPair
{
    const VXPropertyDescription *old = nullptr;
    const VXPropertyDescription *made = nullptr;
};

/** What became, in a copy, of the objects of exactly one entity (without those that inherit from it). */
struct VXEntityMigration
{
    QString entity;
    qint64 found = 0;
    qint64 copied = 0;
    qint64 ignored = 0;                       // the plugin gave no new object for them
    QMap<QString, qint64> changedValues = {}; // by attribute: values that the plugin's hooks changed
    // properties that old objects had and new ones do not, without a hook that took care of them
    QStringList droppedProperties = {};
    QMap<QString, qint64> notFound = {}; // by relationship: references to objects that were not copied

    bool isUnchanged() const
    {
        return ignored == 0 && changedValues.isEmpty() && droppedProperties.isEmpty() && notFound.isEmpty();
    }
};

/**
 * One run of copying a store: its progress, its cancellation, and what became of the objects. The copy passes of
 * VXDataPlugin find the run of their thread and report to it; they also work without one. Progress and cancelling: any
 * thread. The rest: the copying thread, and afterwards one other.
 */
class VX_EXPORT VXStoreMigration
{
public:
    enum class Phase { Starting, Attributes, Relationships, Comparing, Checking, Saving, Verifying };

    /** Makes the run the current one of this thread during its lifetime. */
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

    /** The run of this thread; nullptr when there is none. */
    static VXStoreMigration *current();

    // -- Any thread
    /** Ends the passes, with the cancelled error, before their next object. */
    void cancel() { _isCancelled = true; }
    bool isCancelled() const { return _isCancelled; }
    Phase phase() const { return _phase; }
    /** The text shown to users. */
    QString phaseText() const;
    /** How many objects the phase is done with, and how many it has; 0 when unknown. */
    qint64 done() const { return _done; }
    qint64 total() const { return _total; }

    // -- Set before it begins
    /** Nobody sees the destination before the run has succeeded, so parts of it may be saved earlier. */
    void setIntoNewStore(bool isNew) { _isIntoNewStore = isNew; }
    bool isIntoNewStore() const { return _isIntoNewStore; }
    /** The destination is in use and keeps its objects; data that concerns only the source, such as its undo history,
     *  is not copied. */
    void setMerge(bool isMerge) { _isMerge = isMerge; }
    bool isMerge() const { return _isMerge; }
    /** The copy is compared with its source before it is saved; a new store is also read back afterwards. */
    void setVerifies(bool verifies) { _verifies = verifies; }
    bool verifies() const { return _verifies; }

    // -- The copying thread
    void begin(Phase phase, qint64 total = 0);
    void advance(qint64 objects = 1)
    {
        _done.store(_done.load(std::memory_order_relaxed) + objects, std::memory_order_relaxed);
    }
    VXEntityMigration &entity(const QString &name);
    /** For callers that ask for properties one after the other in their order: the next one is mostly found without a
     *  look-up. */
    VXPropertyPair propertiesNamed(const QString &name, const VXEntityDescription &old,
                                   const VXEntityDescription &made);
    /** Notes how many of an entity's objects have a new one; the others were left out. */
    void noteCopied(const QString &name, qint64 count);
    /** Notes that the plugin's check of the source has added or changed that object, so it is not as the store has it.
     *  */
    void noteRepaired(const VXManagedObjectID &oldID) { _repaired.insert(oldID); }
    bool isRepaired(const VXManagedObjectID &oldID) const { return !_repaired.isEmpty() && _repaired.contains(oldID); }
    /** Notes that a hook returned a value other than the old object's. */
    void noteChange(const VXPropertyDescription &old, const VXManagedObjectID &oldID, const QVariant &value)
    {
        if (!isRepaired(oldID))
            _changes[&old] += digestOf(oldID, value);
    }
    /** A digest of all those changes that does not depend on their order; none when nothing was changed. */
    std::optional<quint64> digestOfChanges(const VXPropertyDescription &old) const;
    static quint64 digestOf(const VXManagedObjectID &oldID, const QVariant &value);
    /** Notes references that were left out, and reported, because the new relationship is to-one. */
    void noteWithoutRoom(const VXPropertyDescription &old, qint64 count) { _withoutRoom[&old] += count; }
    qint64 countWithoutRoom(const VXPropertyDescription &old) const { return _withoutRoom.value(&old); }
    /** Notes that the hooks wanted nothing saved. */
    void noteNothingSaved();
    bool savesNothing() const { return _savesNothing; }
    /** In the order of copying; without entities that had no objects. */
    const QList<VXEntityMigration> &entities() const { return _entities; }
    /** Notes an object that a hook gave for an old one. */
    void noteMade(const VXManagedObject &made);
    /** The objects that were copied, kept until the run is destroyed. */
    void setNewObjects(const VXMigratedObjects &newObjects);
    /** Whether hooks gave that new object for more than one old one: then it has the values of one of them, and leads
     *  to what any of them led to. Valid once the new objects are set. */
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
    qint64 _newestNumber = 0;              // of the temporary IDs noted so far, which ascend
    bool _mayShare = false;                // an object was noted that is no newer than an earlier one
    QSet<const VXManagedObject *> _shared; // new objects
    QSet<VXManagedObjectID> _repaired;     // objects of the source
    QHash<const VXPropertyDescription *, quint64> _changes;
    QHash<const VXPropertyDescription *, qint64> _withoutRoom;
    bool _savesNothing = false;
    std::pair<const VXEntityDescription *, const VXEntityDescription *> _shape; // old and new, of the pairs below
    QList<VXPropertyPair> _pairs;
    qsizetype _nextPair = 0; // where the next name is looked for
};
