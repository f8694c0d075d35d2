#pragma once

#include "VXContactEdit.h"
#include "VXWorkInWindow.h"

/**
 * Deletes several contacts in one save, and brings them back in one. Many are shown as work in a window, which can stop
 * the deletion until it is being saved.
 */
class VXContactsRemoval : public QUndoCommand
{
public:
    /** Called after each step with what went wrong, if anything; VXErrorCancelled if the user has stopped it. */
    using Done = std::function<void(const VXError &error)>;

    VXContactsRemoval(const VXPersistentStoreCoordinator::Ptr &coordinator, const QList<VXManagedObjectID> &persons,
                      Done done);
    /** How many were there, and were deleted. */
    qsizetype count() const { return _contacts.size(); }

    void undo() override;
    void redo() override;

private:
    VXError writeInWindow(bool removes);
    VXError write(bool removes, VXWindowWork &state);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    QList<VXManagedObjectID> _persons; // they are other objects when they come back
    QList<VXContactRecord> _contacts;  // as they were when deleted
    const Done _done;
};
