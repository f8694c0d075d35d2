#pragma once

#include "VXContactRecord.h"
#include "VXError.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtGui/QUndoCommand>

#include <functional>
#include <optional>

class VXManagedObjectContext;

/**
 * One contact before and after a change; none if it does not exist. Undone and redone in the store, by its UID; what
 * others have changed in it meanwhile stays.
 */
class VXContactEdit : public QUndoCommand
{
public:
    /** Called after each step with the person's ID (null if the person is gone) or what went wrong. */
    using Done = std::function<void(const VXManagedObjectID &person, const VXError &error)>;

    VXContactEdit(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXManagedObjectID &person,
                  const std::optional<VXContactRecord> &before, const std::optional<VXContactRecord> &after, Done done);

    void undo() override { write(_after, _before); }
    /** If the first attempt cannot be written, the command leaves the stack: nothing was done that could be undone. */
    void redo() override;

private:
    VXManagedObjectPtr find(VXManagedObjectContext &context, VXError *error) const;
    bool write(const std::optional<VXContactRecord> &from, const std::optional<VXContactRecord> &to);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    VXManagedObjectID _person;
    std::optional<VXContactRecord> _before;
    std::optional<VXContactRecord> _after;
    const Done _done;
    bool _isWritten = false;
};
