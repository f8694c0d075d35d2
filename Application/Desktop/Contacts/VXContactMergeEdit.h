#pragma once

#include "VXContactDuplicates.h"

#include <QtGui/QUndoCommand>

#include <functional>

/** Contacts made one, as "vornix phonebook duplicates --merge" does, and apart again as long as nothing else was done to many. */
class VXContactMergeEdit : public QUndoCommand
{
public:
    /** Told after each step: the one that they became, null when they are apart again, or what went wrong. */
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
    qint64 _changeSet = 0; // of the merge, in the history
    const Done _done;
};
