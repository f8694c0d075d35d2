#include "VXContactsOpen.h"

#include "VXContactLookup.h"
#include "VXContactReport.h"
#include "VXEmailAddress.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPhonebookManager.h"
#include "VXPhoneNumber.h"
#include "VXStoreByName.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

void appendOnce(QList<VXManagedObjectPtr> &persons, const VXManagedObjectPtr &person)
{
    if (person && !persons.contains(person))
        persons.append(person);
}

VXManagedObjectPtr byNumber(VXManagedObjectContext &contacts, const QString &text)
{
    static const QRegularExpression shortID(u"^p?([0-9]{1,18})$"_s);
    const QRegularExpressionMatch match = shortID.match(text);
    const VXPersistentStoreCoordinator &coordinator = *contacts.persistentStoreCoordinator();
    VXManagedObjectID objectID = coordinator.objectIDForURIRepresentation(QUrl(text));
    if (match.hasMatch() && text.startsWith(u'p'))
        objectID = {*coordinator.model().entityForName(u"VXPerson"_s),
                    coordinator.persistentStores().constFirst()->identity(), match.captured(1).toLongLong()};
    const bool isPerson = !objectID.isNull() && objectID.entity().name() == "VXPerson"_L1;
    return isPerson ? contacts.existingObjectWithID(objectID) : VXManagedObjectPtr();
}

QList<VXManagedObjectPtr> byUID(VXManagedObjectContext &contacts, const QString &uid)
{
    VXFetchRequest request(*contacts.persistentStoreCoordinator()->model().entityForName(u"VXPerson"_s));
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"uid"_s), VXPredicate::Operator::Equal,
                                                VXExpression::constant(uid));
    QList<VXManagedObjectPtr> persons;
    if (const auto found = contacts.executeFetchRequest(request)) {
        for (const VXManagedObjectPtr &person : *found)
            persons.append(person);
    }
    return persons;
}

QList<VXManagedObjectPtr> personsNamed(VXManagedObjectContext &contacts, const QString &text)
{
    if (const VXManagedObjectPtr person = byNumber(contacts, text))
        return {person};
    QList<VXManagedObjectPtr> persons = byUID(contacts, text);
    if (!persons.isEmpty())
        return persons;
    const VXContactLookup lookup(contacts);
    QList<VXContactCandidate> candidates;
    if (VXIsValidPhoneNumber(text))
        candidates = lookup.forPhoneNumber(text, 0, {});
    else if (VXIsValidEmailAddress(text))
        candidates = lookup.forEmailAddress(text, 0, {});
    for (const VXContactCandidate &candidate : std::as_const(candidates))
        appendOnce(persons, candidate.entry->valueForKey(u"person"_s).value<VXManagedObjectPtr>());
    if (persons.isEmpty()) {
        for (const VXManagedObjectPtr &person : lookup.allForName(text))
            appendOnce(persons, person);
    }
    return persons;
}

} // namespace

VXPersistentStoreCoordinator::Ptr VXOpenContacts(VXHostContext &context)
{
    QString problem;
    const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(u"phonebook"_s, &problem);
    if (!coordinator)
        context.output.fail(problem);
    return coordinator;
}

VXNamedContact::VXNamedContact(VXHostContext &context)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return;
    contacts = std::make_unique<VXManagedObjectContext>(coordinator);
    const QString text = context.options.operand(1);
    const QList<VXManagedObjectPtr> persons = personsNamed(*contacts, text);
    if (persons.size() == 1) {
        person = persons.constFirst();
        return;
    }
    if (persons.isEmpty()) {
        constexpr unsigned mostNear = 5;
        const QStringList near = VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(
            text, VXPhonebookPropertyAll, mostNear);
        context.output.fail(u"there is no contact \"%1\""_s.arg(text) +
                            (near.isEmpty() ? QString() : u"; near it are: "_s + near.join(", "_L1)));
        return;
    }
    QStringList choices;
    for (const VXManagedObjectPtr &each : persons)
        choices.append(VXShownContact(each).shortID);
    context.output.fail(u"\"%1\" are several contacts: %2"_s.arg(text, choices.join(", "_L1)));
}
