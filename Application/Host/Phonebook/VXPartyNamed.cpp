#include "VXPartyNamed.h"

#include "VXContactLookup.h"
#include "VXContactReport.h"
#include "VXContactsOpen.h"
#include "VXConversationKey.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookList.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookRecord.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned mostCompletions = 100; // of a name

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
        return failed(context, u"%1 has no phone number"_s.arg(contact.displayName()));
    if (numbers.size() > 1 && std::ranges::count_if(numbers, isMobile) == 1)
        numbers = {*std::ranges::find_if(numbers, isMobile)};
    if (numbers.size() > 1)
        return failed(context, u"%1 has several phone numbers: %2"_s.arg(contact.displayName(),
                                                                         VXShownAddresses(numbers).join(", "_L1)));
    return VXPhonebookStringJoin(contact.displayName(), numbers.constFirst().value, numbers.constFirst().type);
}

QStringList keysOfPerson(const VXManagedObjectPtr &person)
{
    QStringList keys;
    const VXContactRecord contact{QVariant::fromValue(person)};
    for (const VXContactRecord::Address &each : contact.numbers + contact.emails)
        keys.append(VXConversationKey(each.value));
    return keys;
}

} // namespace

QString VXReceiverNamed(VXHostContext &context, const QString &text)
{
    const QStringList items = VXUnpackPhonebookStrings(text, true);
    const auto isAddress = [](const QString &item) { return VXPhonebookStringSplit(item); };
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

QStringList VXConversationsWith(const VXMessageStore &store, VXManagedObjectContext &messages, const QString &text)
{
    if (VXPhonebookStringSplit(text))
        return {VXConversationKey(text)};
    QVariantList keys{VXConversationKey(text)}; // of a sender without a number
    for (const QString &entry : VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(
             text, VXPhonebookPropertyNumber | VXPhonebookPropertyEmail, mostCompletions))
        keys.append(VXConversationKey(entry));
    VXFetchRequest request(*store.coordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate =
        *VXPredicate::predicateWithFormat(u"otherParty_search CONTAINS[cd] %@ OR conversation IN %@"_s, {text, keys});
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    request.limit = 1;
    const auto found = messages.executeFetchRequest(request);
    if (!found || found->isEmpty())
        return {};
    QStringList conversations{found->first()->valueForKey(u"conversation"_s).toString()};
    const QVariant contact = VXContactForPhonebookStrings(VXPhonebookRecord::otherParty(*found->first()));
    const auto person = contact.value<VXManagedObjectPtr>();
    if (person && person->entity().name() == "VXPerson"_L1)
        conversations += keysOfPerson(person);
    conversations.removeDuplicates();
    return conversations;
}
