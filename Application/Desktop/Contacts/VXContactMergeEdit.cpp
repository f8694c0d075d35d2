#include "VXContactMergeEdit.h"

#include "VXContactHistory.h"
#include "VXDesktopText.h"
#include "VXErrorDomain.h"

using namespace Qt::StringLiterals;

VXContactMergeEdit::VXContactMergeEdit(const VXPersistentStoreCoordinator::Ptr &coordinator,
                                       const QList<VXManagedObjectID> &persons, const QString &name, Done done)
    : _coordinator(coordinator), _persons(persons), _done(std::move(done))
{
    setText(VXText("merging into %1").arg(name));
}

VXError VXContactMergeEdit::merge(VXManagedObjectID *kept)
{
    const VXContactDuplicates duplicates(_coordinator);
    const VXDuplicateContacts all = duplicates.some({}, _persons);
    VXError error;
    if (!duplicates.merge({all}, &error))
        return error;
    if (const auto done = VXContactHistory(_coordinator).last(&error))
        _changeSet = done->number;
    *kept = all.persons.constFirst();
    return error;
}

// The history undoes the latest change: a later one, perhaps by another program, would be mistaken for the merge.
VXError VXContactMergeEdit::takeApart()
{
    const VXContactHistory history(_coordinator);
    VXError error;
    const auto last = history.last(&error);
    if (error)
        return error;
    if (!last || last->number != _changeSet)
        return VXMakeError(VXText("Other contacts were imported, merged or synced since."));
    history.undoLast(false, &error);
    return error;
}

void VXContactMergeEdit::redo()
{
    VXManagedObjectID kept;
    const VXError error = merge(&kept);
    setObsolete(bool(error)); // nothing was done that could be undone
    _done(kept, error);
}

void VXContactMergeEdit::undo()
{
    const VXError error = takeApart();
    setObsolete(!error); // the contacts brought back are other objects: merging them again is a new step
    _done({}, error);
}
