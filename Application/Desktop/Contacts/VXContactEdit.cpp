#include "VXContactEdit.h"

#include "VXContactWriter.h"
#include "VXDesktopText.h"
#include "VXManagedObjectContext.h"

using namespace Qt::StringLiterals;

VXContactEdit::VXContactEdit(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXManagedObjectID &person,
                             const std::optional<VXContactRecord> &before, const std::optional<VXContactRecord> &after,
                             Done done)
    : _coordinator(coordinator), _person(person), _before(before), _after(after), _done(std::move(done))
{
    if (_after && _after->uid.isEmpty())
        _after->uid = _before ? _before->uid : VXNewContactUID();
    const QString name = (after ? *after : *before).displayName();
    setText(!before  ? VXText("adding %1").arg(name)
            : !after ? VXText("deleting %1").arg(name)
                     : VXText("changing %1").arg(name));
}

// One that was deleted and brought back is another object, of the same UID.
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

void VXContactEdit::write(const std::optional<VXContactRecord> &contact)
{
    VXManagedObjectContext context(_coordinator);
    VXError error;
    VXManagedObjectPtr person = find(context, &error);
    if (!error.isNull()) {
        _done(_person, error);
        return;
    }
    VXContactWriter writer(context);
    if (!contact && person)
        context.deleteObject(person);
    else if (contact && person)
        writer.replace(person, *contact);
    else if (contact)
        person = writer.insert(*contact);
    if (!context.save(&error)) {
        _done(_person, error);
        return;
    }
    _person = contact ? person->objectID() : VXManagedObjectID();
    _done(_person, {});
}
