#include "VXContactsRemoval.h"

#include "VXContactWriter.h"
#include "VXDesktopText.h"
#include "VXManagedObjectContext.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

VXContactsRemoval::VXContactsRemoval(const VXPersistentStoreCoordinator::Ptr &coordinator,
                                     const QList<VXManagedObjectID> &persons, Done done)
    : _coordinator(coordinator), _persons(persons), _done(std::move(done))
{
    setText(VXText("deleting %1").arg(VXText("%1 contact", "%1 contacts", persons.size())));
}

VXError VXContactsRemoval::write(bool removes)
{
    VXError error;
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(&error))
        return error;
    VXManagedObjectContext context(_coordinator);
    QList<VXContactRecord> removed;
    QList<VXManagedObjectPtr> made;
    if (removes) {
        for (const VXManagedObjectID &each : std::as_const(_persons)) {
            const VXManagedObjectPtr person = context.existingObjectWithID(each, &error);
            if (error)
                return error;
            if (!person)
                continue; // gone meanwhile
            removed.append(VXContactRecord(QVariant::fromValue(person)));
            context.deleteObject(person);
        }
    } else {
        VXContactWriter writer(context);
        for (const VXContactRecord &each : std::as_const(_contacts))
            made.append(writer.insert(each));
    }
    if (!context.save(&error))
        return error;
    if (removes && !removed.isEmpty())
        _contacts = removed;
    else if (!removes)
        _persons.clear();
    for (const VXManagedObjectPtr &each : std::as_const(made))
        _persons.append(each->objectID());
    return {};
}

void VXContactsRemoval::redo()
{
    const VXError error = write(true);
    setObsolete(bool(error) || _contacts.isEmpty()); // nothing was done that could be undone
    _done(error);
}

void VXContactsRemoval::undo()
{
    _done(write(false));
}
