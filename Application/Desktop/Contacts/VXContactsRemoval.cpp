#include "VXContactsRemoval.h"

#include "VXContactWriter.h"
#include "VXDesktopText.h"
#include "VXErrorDomain.h"
#include "VXManagedObjectContext.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shownFrom = 300; // contacts; fewer take no time that one would notice

} // namespace

VXContactsRemoval::VXContactsRemoval(const VXPersistentStoreCoordinator::Ptr &coordinator,
                                     const QList<VXManagedObjectID> &persons, Done done)
    : _coordinator(coordinator), _persons(persons), _done(std::move(done))
{
    setText(VXText("deleting %1").arg(VXText("%1 contact", "%1 contacts", persons.size())));
}

VXError VXContactsRemoval::writeInWindow(bool removes)
{
    const qsizetype count = removes ? _persons.size() : _contacts.size();
    VXError error(VXErrorDomain, VXErrorCancelled);
    if (count < shownFrom) {
        VXWindowWork unseen;
        return write(removes, unseen);
    }
    VXWorkInWindow(text(), count, removes ? VXWindowStop::Allowed : VXWindowStop::Refused,
                   [&](VXWindowWork &state) { error = write(removes, state); });
    return error;
}

VXError VXContactsRemoval::write(bool removes, VXWindowWork &state)
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
            if (state.isStopped)
                return VXError(VXErrorDomain, VXErrorCancelled);
            ++state.done;
            if (!person)
                continue; // gone meanwhile
            removed.append(VXContactRecord(QVariant::fromValue(person)));
            context.deleteObject(person);
        }
    } else {
        VXContactWriter writer(context);
        for (const VXContactRecord &each : std::as_const(_contacts)) {
            made.append(writer.insert(each));
            ++state.done;
        }
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
    const VXError error = writeInWindow(true);
    setObsolete(bool(error) || _contacts.isEmpty()); // nothing was done that could be undone
    _done(error);
}

void VXContactsRemoval::undo()
{
    _done(writeInWindow(false));
}
