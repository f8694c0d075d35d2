#include "VXContactEdit.h"

#include "VXContactFields.h"
#include "VXContactMerge.h"
#include "VXContactWriter.h"
#include "VXDesktopText.h"
#include "VXManagedObjectContext.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

// Applies the edit to the contact in its present state.
VXContactRecord changed(const VXManagedObjectPtr &person, const std::optional<VXContactRecord> &from,
                        const VXContactRecord &to)
{
    const VXContactRecord now = VXStorableContact(VXContactRecord(QVariant::fromValue(person)));
    if (!from || VXIsSameContact(VXStorableContact(*from), now))
        return to;
    return VXMergeContacts(VXStorableContact(*from), VXStorableContact(to), now, now).contact;
}

} // namespace

VXContactEdit::VXContactEdit(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXManagedObjectID &person,
                             const std::optional<VXContactRecord> &before, const std::optional<VXContactRecord> &after,
                             Done done)
    : _coordinator(coordinator), _person(person), _before(before), _after(after), _done(std::move(done))
{
    if (_after && _after->uid.isEmpty())
        _after->uid = _before ? _before->uid : VXNewContactUID();
    const QString name = VXContactTitle(after ? *after : *before);
    setText(!before  ? VXText("adding %1").arg(name)
            : !after ? VXText("deleting %1").arg(name)
                     : VXText("changing %1").arg(name));
}

// A contact that was deleted and brought back is another object with the same UID.
VXManagedObjectPtr VXContactEdit::find(VXManagedObjectContext &context, VXError *error) const
{
    const VXManagedObjectPtr known =
        _person.isNull() ? VXManagedObjectPtr() : context.existingObjectWithID(_person, error);
    const QString uid = _after ? _after->uid : _before->uid;
    if (known || uid.isEmpty())
        return known;
    VXFetchRequest request(*_coordinator->model().entityForName(u"VXPerson"_s));
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"uid"_s), VXPredicate::Operator::Equal,
                                                VXExpression::constant(uid));
    const auto found = context.executeFetchRequest(request, error);
    return found ? found->first() : VXManagedObjectPtr();
}

void VXContactEdit::redo()
{
    _isWritten = write(_before, _after) || _isWritten;
    setObsolete(!_isWritten);
}

bool VXContactEdit::write(const std::optional<VXContactRecord> &from, const std::optional<VXContactRecord> &to)
{
    VXError error;
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    VXManagedObjectContext context(_coordinator);
    VXManagedObjectPtr person = saving.isHeld(&error) ? find(context, &error) : VXManagedObjectPtr();
    if (!error.isNull()) {
        _done(_person, error);
        return false;
    }
    VXContactWriter writer(context);
    if (!to && person)
        context.deleteObject(person);
    else if (to && person)
        writer.replace(person, changed(person, from, *to));
    else if (to)
        person = writer.insert(*to);
    if (!context.save(&error)) {
        _done(_person, error);
        return false;
    }
    _person = to ? person->objectID() : VXManagedObjectID();
    _done(_person, {});
    return true;
}
