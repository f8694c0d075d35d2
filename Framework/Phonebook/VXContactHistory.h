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

/** What changed many contacts at once, an import, a merge or a sync; or removed one. */
struct VXContactChangeSet
{
    qint64 number = 0;
    QString kind = {};   // "import", "merge", "sync", "deletion"
    QString title = {};  // of an import the file, of a sync the phone, of a deletion who it was
    QDateTime date = {}; // when it began
};

/** What undoing one came to, or would come to. */
struct VXContactUndo
{
    VXContactChangeSet changeSet = {};
    qsizetype removed = 0;     // that it had made
    qsizetype restored = 0;    // that it had changed
    qsizetype broughtBack = 0; // that it had removed
    QStringList left = {};     // names of those that were changed since: they stay as they are
    QStringList kept =
        {}; // names of those that a sync had made and that are on no phone any more: they are nowhere else
};

/**
 * Remembers what imports, merges and syncs did to the contacts of the store "phonebook", in the store itself and with the same saves, so
 * that the last ones can be undone. On any thread; a context on its own.
 */
class VX_EXPORT VXContactHistory
{
public:
    explicit VXContactHistory(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** In a context, to be saved with the changes. None, with an error, on failure. The oldest beyond ten are forgotten. */
    static std::optional<VXContactChangeSet> insert(VXManagedObjectContext &context, const QString &kind,
                                                    const QString &title, VXError *error = nullptr);
    /** In a context, to be saved with the change, and before it: a person as it is, whether it is only changed or goes. The first
     *  time counts: undoing leads back before all that the set did. Of a sync the URL of its device: the person's places there are
     *  noted too. */
    static void note(VXManagedObjectContext &context, const VXContactChangeSet &changeSet,
                     const VXManagedObjectPtr &person, bool isRemoved, const QString &deviceURL = {});
    /** The changedDate of a person that the set of that date changes once more: by it one that was changed since is told. */
    static QDateTime dateOfChange(const QDateTime &changeSet, const QDateTime &before);

    /** The last one; none when there is none, or, with an error, on failure. */
    std::optional<VXContactChangeSet> last(VXError *error = nullptr) const;
    /**
     * Undoes the last one; groups without members go then. One that is broken off can be repeated: it stays the last one until all
     * is undone, but for what was changed again since. With `isDryRun` only tells. None, with an error, when there is none, or on failure.
     */
    std::optional<VXContactUndo> undoLast(bool isDryRun, VXError *error = nullptr) const;

private:
    bool undoChanges(VXContactUndo &undo, bool isDryRun, VXError *error) const;
    bool removeMade(VXContactUndo &undo, bool isDryRun, VXError *error) const;
    bool removeEmptyGroups(VXError *error) const;
    bool forget(const VXContactChangeSet &changeSet, VXError *error) const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
};
