#include "VXContactsOpen.h"

#include "VXContactLookup.h"
#include "VXContactRecord.h"
#include "VXContactReport.h"
#include "VXEmailAddress.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXPluginStores.h"

#include <QtCore/QHash>
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
    if (VXIsNumberAsWritten(text))
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

/** Who has the numbers and addresses of completions: many contacts may have one, which is looked up once. */
class Owners
{
public:
    explicit Owners(VXManagedObjectContext &contacts) : _lookup(contacts) {}

    /** The one of that name who has the address, or else whom a look-up finds. */
    VXManagedObjectPtr ownerOf(const QString &address, const QString &name)
    {
        auto known = _byName.constFind(address);
        if (known == _byName.cend())
            known = _byName.insert(address, read(address));
        return known->value(name.simplified(), known->value(QString()));
    }

private:
    using ByName = QHash<QString, VXManagedObjectPtr>; // the best one by the empty name, too

    ByName read(const QString &address) const
    {
        ByName owners;
        for (const VXContactCandidate &each : VXIsValidEmailAddress(address) ? _lookup.forEmailAddress(address, 0, {})
                                                                             : _lookup.forPhoneNumber(address, 0, {})) {
            const auto person = each.entry->valueForKey(u"person"_s).value<VXManagedObjectPtr>();
            for (const QString &name : {VXPhonebookEntry::displayString(*each.entry).simplified(), QString()}) {
                if (!owners.contains(name))
                    owners.insert(name, person);
            }
        }
        return owners;
    }

    const VXContactLookup _lookup;
    QHash<QString, ByName> _byName; // by address
};

} // namespace

VXPersistentStoreCoordinator::Ptr VXOpenContacts(VXHostContext &context)
{
    QString problem;
    const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(u"phonebook"_s, &problem);
    if (!coordinator)
        context.output.fail(problem);
    return coordinator;
}

QList<VXManagedObjectPtr> VXContactsNear(VXManagedObjectContext &contacts, const QString &text,
                                         unsigned mostCompletions)
{
    const VXContactLookup lookup(contacts);
    Owners owners(contacts);
    QList<VXManagedObjectPtr> persons;
    for (const QString &entry : VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(
             text, VXPhonebookPropertyAll, mostCompletions)) {
        QString name = entry;
        QString address;
        static_cast<void>(VXPhonebookStringSplit(entry, &name, &address)); // otherwise it is just a name
        const VXManagedObjectPtr owner = owners.ownerOf(address, name);
        appendOnce(persons, owner ? owner : lookup.forName(name));
    }
    return persons;
}

QString VXTextOfContactsNear(VXManagedObjectContext &contacts, const QString &text)
{
    constexpr qsizetype mostNear = 5;
    QStringList near;
    for (const VXManagedObjectPtr &person : VXContactsNear(contacts, text).mid(0, mostNear))
        near.append(
            u"%1 (%2)"_s.arg(VXContactRecord(QVariant::fromValue(person)).shownName(), VXShownContact(person).shortID));
    return near.isEmpty() ? u""_s
                          : (near.size() == 1 ? u"; near it is: "_s : u"; near it are: "_s) + near.join(", "_L1);
}

VXNamedContact::VXNamedContact(VXHostContext &context, Purpose purpose)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return;
    contacts = std::make_unique<VXManagedObjectContext>(coordinator);
    const QString text = context.options.operand(1);
    QList<VXManagedObjectPtr> persons = personsNamed(*contacts, text);
    if (persons.isEmpty() && purpose == Purpose::Look)
        persons = VXContactsNear(*contacts, text);
    if (persons.size() == 1) {
        person = persons.constFirst();
        return;
    }
    if (persons.isEmpty()) {
        context.output.fail(u"there is no contact \"%1\""_s.arg(text) + VXTextOfContactsNear(*contacts, text));
        return;
    }
    QStringList choices;
    for (const VXManagedObjectPtr &each : persons)
        choices.append(
            u"%1 (%2)"_s.arg(VXContactRecord(QVariant::fromValue(each)).shownName(), VXShownContact(each).shortID));
    context.output.fail(u"\"%1\" are several contacts: %2"_s.arg(text, choices.join(", "_L1)));
}
