#pragma once

#include "VXContactEdit.h"

/** Deletes several contacts in one save, and brings them back in one. */
class VXContactsRemoval : public QUndoCommand
{
public:
    /** Called after each step with what went wrong, if anything. */
    using Done = std::function<void(const VXError &error)>;

    VXContactsRemoval(const VXPersistentStoreCoordinator::Ptr &coordinator, const QList<VXManagedObjectID> &persons,
                      Done done);
    /** How many were there, and were deleted. */
    qsizetype count() const { return _contacts.size(); }

    void undo() override;
    void redo() override;

private:
    VXError write(bool removes);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    QList<VXManagedObjectID> _persons; // they are other objects when they come back
    QList<VXContactRecord> _contacts;  // as they were when deleted
    const Done _done;
};
