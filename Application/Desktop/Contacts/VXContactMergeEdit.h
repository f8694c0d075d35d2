#pragma once

#include "VXContactDuplicates.h"

#include <QtGui/QUndoCommand>

#include <functional>

/**
 * Merges contacts into one, as "vornix phonebook duplicates --merge" does, and separates them again as long as no other
 * change was made to several contacts.
 */
class VXContactMergeEdit : public QUndoCommand
{
public:
    /** Called after each step with the merged contact (null when they are separate again) or what went wrong. */
    using Done = std::function<void(const VXManagedObjectID &person, const VXError &error)>;

    VXContactMergeEdit(const VXPersistentStoreCoordinator::Ptr &coordinator, const QList<VXManagedObjectID> &persons,
                       const QString &name, Done done);

    void undo() override;
    void redo() override;

private:
    VXError merge(VXManagedObjectID *kept);
    VXError takeApart();

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    QList<VXManagedObjectID> _persons;
    qint64 _changeSet = 0; // the merge's, in the history
    const Done _done;
};
