#include "VXPartyNamed.h"

#include "VXContactLookup.h"
#include "VXContactReport.h"
#include "VXContactsOpen.h"
#include "VXConversationKey.h"
#include "VXDataManager.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookList.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookRecord.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXWrittenNumber.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned mostCompletions = 100; // for a name

QString failed(VXHostContext &context, const QString &text)
{
    context.output.fail(text);
    return {};
}

bool isMobile(const VXContactRecord::Address &number)
{
    return (number.type & VXPhonebookTypeKindMask) == VXPhonebookTypeMobile;
}

// Messages go to the only number, or to the only mobile one.
QString numberOf(VXHostContext &context, const VXManagedObjectPtr &person)
{
    const VXContactRecord contact{QVariant::fromValue(person)};
    QList<VXContactRecord::Address> numbers = contact.numbers;
    if (numbers.isEmpty())
        return failed(context, u"%1 has no phone number"_s.arg(contact.shownName()));
    if (numbers.size() > 1 && std::ranges::count_if(numbers, isMobile) == 1)
        numbers = {*std::ranges::find_if(numbers, isMobile)};
    if (numbers.size() > 1)
        return failed(context, u"%1 has several phone numbers: %2"_s.arg(contact.shownName(),
                                                                         VXShownAddresses(numbers).join(", "_L1)));
    return VXPhonebookStringJoin(contact.displayName(), numbers.constFirst().value, numbers.constFirst().type);
}

QStringList keysOfPerson(const VXManagedObjectPtr &person)
{
    QStringList keys;
    const VXContactRecord contact{QVariant::fromValue(person)};
    for (const VXContactRecord::Address &each : contact.numbers + contact.emails)
        keys.append(VXConversationKeysOf(each.value));
    return keys;
}

// Beginnings of a conversation's key: for a number with a country code, the rest, by which numbers are compared.
QStringList beginningsOf(const QString &text)
{
    QStringList beginnings{VXConversationKey(text)};
    const QString number = VXWrittenNumber::in(text).number;
    if (const QString digits = VXPhoneNumberInternationalDigits(number); !digits.isEmpty())
        beginnings.append(digits.startsWith(u'1') ? digits.sliced(1) : VXPhoneNumberByStrippingCountryCode(digits));
    beginnings.removeAll(QString());
    return beginnings;
}

/** People with whom messages were exchanged and who may be meant, each with all conversations. */
class Parties
{
public:
    Parties(const VXMessageStore &store, VXManagedObjectContext &messages) : _store(store), _messages(messages) {}

    /** False if there are no messages in that conversation. */
    bool add(const QString &conversation)
    {
        const VXManagedObjectPtr message = first(u"conversation == %@"_s, conversation);
        if (message)
            addOtherParty(*message);
        return bool(message);
    }
    void addPerson(const VXManagedObjectPtr &person)
    {
        for (const QString &key : keysOfPerson(person)) {
            if (add(key))
                return;
        }
    }
    /** Finds each by a step along the index of conversations. */
    void addThoseThatBegin(const QString &beginning)
    {
        VXManagedObjectPtr message = first(u"conversation >= %@"_s, beginning);
        while (message && keyOf(*message).startsWith(beginning) && _names.size() < mostNames) {
            addOtherParty(*message);
            message = first(u"conversation > %@"_s, keyOf(*message));
        }
    }

    const QStringList &names() const { return _names; }
    /** Those of all people. */
    QStringList conversations() const { return _conversations; }

private:
    static constexpr qsizetype mostNames = 20;

    static QString keyOf(const VXManagedObject &message) { return message.valueForKey(u"conversation"_s).toString(); }

    VXManagedObjectPtr first(const QString &format, const QString &conversation) const
    {
        VXFetchRequest request(*_store.coordinator()->model().entityForName(VXMessageStore::entityName));
        request.predicate = *VXPredicate::predicateWithFormat(format, {conversation});
        request.sortDescriptors = {{.key = u"conversation"_s}};
        request.limit = 1;
        const auto found = _messages.executeFetchRequest(request);
        return found ? found->first() : VXManagedObjectPtr();
    }

    void addOtherParty(const VXManagedObject &message)
    {
        if (_conversations.contains(keyOf(message)))
            return;
        const QString party = VXPhonebookRecord::otherParty(message);
        _conversations.append(keyOf(message));
        const auto person = VXContactForPhonebookStrings(party).value<VXManagedObjectPtr>();
        if (person && person->entity().name() == "VXPerson"_L1)
            _conversations += keysOfPerson(person);
        _names.append(VXDisplayStringForContacts(party));
        _conversations.removeDuplicates();
    }

    const VXMessageStore &_store;
    VXManagedObjectContext &_messages;
    QStringList _names;
    QStringList _conversations;
};

} // namespace

QString VXReceiverNamed(VXHostContext &context, const QString &text)
{
    const QStringList items = VXUnpackPhonebookStrings(text, true);
    const auto isAddress = [](const QString &item) {
        return VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(item));
    };
    if (items.size() > 1 && std::ranges::all_of(items, isAddress))
        return failed(context, u"a message goes to one number at a time"_s);
    if (isAddress(text))
        return text;
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return {};
    VXManagedObjectContext contacts(coordinator);
    const QList<VXManagedObjectPtr> persons = VXContactLookup(contacts).allForName(text);
    if (persons.isEmpty())
        return failed(context, u"\"%1\" is no phone number, and no contact is called so%2"_s.arg(
                                   text, VXTextOfContactsNear(contacts, text)));
    if (persons.size() == 1)
        return numberOf(context, persons.constFirst());
    QStringList choices;
    for (const VXManagedObjectPtr &person : persons)
        choices += VXShownAddresses(VXContactRecord(QVariant::fromValue(person)).numbers);
    return failed(context, u"\"%1\" are several contacts: %2"_s.arg(text, choices.join(", "_L1)));
}

QStringList VXConversationsWith(VXHostContext &context, const VXMessageStore &store, VXManagedObjectContext &messages,
                                const QString &text)
{
    Parties parties(store, messages);
    if (parties.add(VXConversationKey(text)))
        return VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(text)) ? QStringList{VXConversationKey(text)}
                                                                               : parties.conversations();
    if (const VXPersistentStoreCoordinator::Ptr coordinator =
            VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s)) {
        VXManagedObjectContext contacts(coordinator);
        for (const VXManagedObjectPtr &person : VXContactLookup(contacts).allForName(text))
            parties.addPerson(person);
    }
    if (parties.names().isEmpty()) {
        for (const QString &entry : VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(
                 text, VXPhonebookPropertyNumber | VXPhonebookPropertyEmail, mostCompletions))
            parties.add(VXConversationKey(entry));
        for (const QString &beginning : beginningsOf(text))
            parties.addThoseThatBegin(beginning);
    }
    if (parties.names().size() == 1)
        return parties.conversations();
    context.output.fail(parties.names().isEmpty()
                            ? u"there are no messages with \"%1\""_s.arg(text)
                            : u"\"%1\" are several: %2"_s.arg(text, parties.names().join(", "_L1)));
    return {};
}
