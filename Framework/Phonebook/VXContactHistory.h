#pragma once

#include "VXContactRecord.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXManagedObjectContext;

/** A change of many contacts at once, by an import, a merge or a sync; or the deletion of one. */
struct VXContactChangeSet
{
    qint64 number = 0;
    QString kind = {};   // "import", "merge", "sync", "deletion"
    QString title = {};  // the file imported, the phone synced, or the contact deleted
    QDateTime date = {}; // when it began
};

/** The result of undoing a change set, or what it would be. */
struct VXContactUndo
{
    VXContactChangeSet changeSet = {};
    qsizetype removed = 0;     // contacts that the change set had added
    qsizetype restored = 0;    // contacts that it had changed
    qsizetype broughtBack = 0; // contacts that it had removed
    QStringList left = {};     // names of contacts that were changed since and are left as they are
    QStringList kept =
        {}; // names of those that a sync had made and that are on no phone any more: they are nowhere else
};

/**
 * Records what imports, merges and syncs do to the contacts of the store "phonebook", in the store itself and with the
 * same saves, so that the last ones can be undone. On any thread; a context on its own.
 */
class VX_EXPORT VXContactHistory
{
public:
    explicit VXContactHistory(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** Adds a change set to a context, to be saved with the changes. Only the last ten are kept. None, with an error,
     *  on failure. */
    static std::optional<VXContactChangeSet> insert(VXManagedObjectContext &context, const QString &kind,
                                                    const QString &title, VXError *error = nullptr);
    /** Records a person as it is, in a context, before it is changed or removed; to be saved with the change. The first
     *  record of a person counts: undoing restores the state before everything that the set did. For a sync, the URL of
     *  its device: the person's places on it are recorded, too. */
    static void note(VXManagedObjectContext &context, const VXContactChangeSet &changeSet,
                     const VXManagedObjectPtr &person, bool isRemoved, const QString &deviceURL = {});
    /** The changedDate for a person that the change set with that date changes once more; it tells such a person from
     *  one that was changed since. */
    static QDateTime dateOfChange(const QDateTime &changeSet, const QDateTime &before);

    /** The last change set; none when there is none, and, with an error, on failure. */
    std::optional<VXContactChangeSet> last(VXError *error = nullptr) const;
    /**
     * Undoes the last change set; groups that become empty are removed. If this is interrupted, it can be repeated: the
     * set stays the last one until everything is undone except for what was changed since. With `isDryRun`, only
     * reports. None, with an error, when there is no change set, and on failure.
     */
    std::optional<VXContactUndo> undoLast(bool isDryRun, VXError *error = nullptr) const;

private:
    bool undoChanges(VXContactUndo &undo, bool isDryRun, VXError *error) const;
    bool removeMade(VXContactUndo &undo, bool isDryRun, VXError *error) const;
    bool removeEmptyGroups(VXError *error) const;
    bool forget(const VXContactChangeSet &changeSet, VXError *error) const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
};
