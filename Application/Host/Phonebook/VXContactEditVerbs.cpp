#include "VXContactHistory.h"
#include "VXContactReport.h"
#include "VXContactsOpen.h"
#include "VXContactVerbs.h"
#include "VXContactWriter.h"
#include "VXEmailAddress.h"
#include "VXErrorText.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QDate>
#include <QtCore/QHash>

#include <algorithm>
#include <array>
#include <optional>

using namespace Qt::StringLiterals;

using Address = VXContactRecord::Address;
using PostalAddress = VXContactRecord::PostalAddress;

namespace {

// "+1 555 0100/Hm", with the letters after the last slash
Address addressFrom(const QString &text)
{
    const qsizetype slash = text.lastIndexOf(u'/');
    if (slash >= 0 && slash + 1 < text.size() && VXIsValidPhonebookType(QStringView(text).sliced(slash + 1)))
        return {text.first(slash).trimmed(), VXPhonebookTypeMaskFromString(QStringView(text).sliced(slash + 1)), {}};
    return {text.trimmed(), 0, {}};
}

constexpr std::array postalParts{&PostalAddress::street, &PostalAddress::city, &PostalAddress::state,
                                 &PostalAddress::zip, &PostalAddress::country};

bool isSamePlace(const PostalAddress &a, const PostalAddress &b)
{
    return std::ranges::all_of(postalParts, [&](QString PostalAddress::*part) { return a.*part == b.*part; });
}

// "1 Mill Lane; Town; State; 12345; Country/H": the parts in this order; the last ones may be omitted
PostalAddress postalAddressFrom(const QString &text)
{
    const Address whole = addressFrom(text);
    const QStringList texts = whole.value.split(u';');
    PostalAddress address{.type = whole.type};
    for (qsizetype index = 0; index < std::min(texts.size(), qsizetype(postalParts.size())); ++index)
        address.*postalParts[size_t(index)] = texts[index].trimmed();
    if (texts.size() > qsizetype(postalParts.size()))
        address.country = texts.sliced(qsizetype(postalParts.size()) - 1).join(u';').trimmed();
    return address;
}

// "Jane Doe" or "Doe, Jane"
void setName(VXContactRecord &contact, const QString &name)
{
    const QString plain = name.simplified();
    const qsizetype comma = plain.indexOf(u',');
    const qsizetype blank = plain.lastIndexOf(u' ');
    contact.firstName = comma >= 0 ? plain.sliced(comma + 1).trimmed() : plain.left(blank < 0 ? plain.size() : blank);
    contact.lastName = comma >= 0 ? plain.first(comma).trimmed() : plain.sliced(blank < 0 ? plain.size() : blank + 1);
}

// A name, or a phonebook string: "Jane Doe <+1 555 0100/m>", or just the number or address.
void setWhole(VXContactRecord &contact, const QString &text)
{
    QString name;
    QString value;
    unsigned type = 0;
    if (!VXPhonebookStringSplitAsWritten(text, &name, &value, &type))
        return setName(contact, text);
    if (!name.isEmpty())
        setName(contact, name);
    (VXIsValidEmailAddress(value) ? contact.emails : contact.numbers).append({value, type, {}});
}

QString VXContactRecord::*textField(const QString &option)
{
    static const QHash<QString, QString VXContactRecord::*> fields = {
        {u"first"_s, &VXContactRecord::firstName},   {u"last"_s, &VXContactRecord::lastName},
        {u"middle"_s, &VXContactRecord::middleName}, {u"nickname"_s, &VXContactRecord::nickname},
        {u"company"_s, &VXContactRecord::company},   {u"job-title"_s, &VXContactRecord::jobTitle},
        {u"note"_s, &VXContactRecord::note}};
    return fields.value(option, nullptr);
}

// False if the contact contains no such value.
bool drop(VXContactRecord &contact, const QString &value)
{
    qsizetype count = contact.groups.removeAll(value);
    const QString search = VXPhoneNumberRecordString(value); // with the extension
    count += contact.numbers.removeIf([&](const Address &each) {
        return each.value == value || (!search.isEmpty() && VXPhoneNumberRecordString(each.value) == search);
    });
    const auto isMeant = [&](const PostalAddress &each) {
        return std::ranges::any_of(
                   postalParts,
                   [&](QString PostalAddress::*part) { return !value.isEmpty() && each.*part == value; }) ||
               isSamePlace(each, postalAddressFrom(value));
    };
    count += contact.addresses.removeIf(isMeant);
    for (QList<Address> *const list : {&contact.emails, &contact.urls})
        count +=
            list->removeIf([&](const Address &each) { return each.value.compare(value, Qt::CaseInsensitive) == 0; });
    return count > 0;
}

// @return what is wrong with an option; null on success.
QString apply(VXContactRecord &contact, const QString &option, const QString &value)
{
    if (const auto field = textField(option)) {
        contact.*field = value;
    } else if (option == "birthday"_L1) {
        contact.birthday = QDate::fromString(value, Qt::ISODate);
        if (!value.isEmpty() && !contact.birthday.isValid())
            return u"--birthday needs a date, as 1985-04-12"_s;
    } else if (option == "number"_L1) {
        const Address number = addressFrom(value);
        if (!VXIsNumberAsWritten(number.value))
            return u"\"%1\" is no phone number"_s.arg(number.value);
        contact.numbers.append(number);
    } else if (option == "email"_L1) {
        const Address email = addressFrom(value);
        if (!VXIsValidEmailAddress(email.value))
            return u"\"%1\" is no e-mail address"_s.arg(email.value);
        contact.emails.append(email);
    } else if (option == "url"_L1) {
        contact.urls.append({value, 0, {}});
    } else if (option == "address"_L1) {
        const PostalAddress address = postalAddressFrom(value);
        if (isSamePlace(address, {}))
            return u"\"%1\" is no address"_s.arg(value);
        if (std::ranges::none_of(contact.addresses, [&](const auto &each) { return isSamePlace(each, address); }))
            contact.addresses.append(address);
    } else if (option == "group"_L1) {
        if (!contact.groups.contains(value))
            contact.groups.append(value);
    } else if (option == "drop"_L1 && !drop(contact, value)) {
        return u"the contact has no \"%1\""_s.arg(value);
    }
    return {};
}

// The exit status if an option was refused and reported; none if all were accepted.
std::optional<int> applyOptions(VXHostContext &context, VXContactRecord &contact)
{
    for (const auto &[option, value] : context.options.occurrences()) {
        const QString problem = apply(contact, option, value);
        if (problem.isNull())
            continue;
        return option == "drop"_L1 ? context.output.fail(problem) // depending on what the contact has
                                   : context.output.failUsage(problem, VXHostUsage(context.options));
    }
    return std::nullopt;
}

// The store of contacts, and the lock under which a command looks up and then saves, so that a second one sees what the
// first did.
class ContactsToChange
{
public:
    // Reports whatever prevents changes.
    explicit ContactsToChange(VXHostContext &context) : _store(VXOpenContacts(context))
    {
        VXError error;
        if (_store && !_lock.emplace(*_store, VXStoreWorkLock::savingName).isHeld(&error)) {
            context.output.fail(VXErrorText(error));
            _store.reset();
        }
    }

    const VXPersistentStoreCoordinator::Ptr &store() const { return _store; } // null: changes are impossible

private:
    VXPersistentStoreCoordinator::Ptr _store;
    std::optional<VXStoreWorkLock> _lock;
};

int saveAndShow(VXHostContext &context, VXManagedObjectContext &contacts, const VXManagedObjectPtr &person)
{
    VXError error;
    if (!contacts.save(&error))
        return context.output.fail(VXErrorText(error));
    const VXShownContact shown(person);
    context.output.answer(shown.text(), shown.json(false));
    return VXHostOutput::Done;
}

} // namespace

int VXAddContact(VXHostContext &context)
{
    VXContactRecord contact;
    if (const QString name = context.options.operand(1); !name.isNull())
        setWhole(contact, name);
    if (const std::optional<int> status = applyOptions(context, contact))
        return *status;
    if (contact.displayName().isEmpty())
        return context.output.failUsage(u"add needs a name, company, number or address"_s,
                                        VXHostUsage(context.options));
    const ContactsToChange held(context);
    if (!held.store())
        return VXHostOutput::Failed;
    VXManagedObjectContext contacts(held.store());
    return saveAndShow(context, contacts, VXContactWriter(contacts).insert(contact));
}

int VXEditContact(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const auto isGiven = [&](const VXHostOption &option) { return options.isSet(option.name); };
    if (std::ranges::none_of(options.command()->options, isGiven))
        return context.output.failUsage(u"edit needs what to change"_s, VXHostUsage(options));
    const ContactsToChange held(context);
    if (!held.store())
        return VXHostOutput::Failed;
    const VXNamedContact named(context);
    if (!named.person)
        return VXHostOutput::Failed;
    VXContactRecord contact(QVariant::fromValue(named.person));
    if (const std::optional<int> status = applyOptions(context, contact))
        return *status;
    VXContactWriter(*named.contacts).replace(named.person, contact);
    return saveAndShow(context, *named.contacts, named.person);
}

int VXDeleteContact(VXHostContext &context)
{
    const ContactsToChange held(context);
    if (!held.store())
        return VXHostOutput::Failed;
    const VXNamedContact named(context);
    if (!named.person)
        return VXHostOutput::Failed;
    const VXShownContact shown(named.person);
    const QString name = shown.contact.shownName();
    VXError error;
    const auto changeSet = VXContactHistory::insert(*named.contacts, u"deletion"_s, name, &error);
    if (changeSet) {
        VXContactHistory::note(*named.contacts, *changeSet, named.person, true);
        named.contacts->deleteObject(named.person);
    }
    if (!changeSet || !named.contacts->save(&error))
        return context.output.fail(VXErrorText(error));
    context.output.answer(
        u"Deleted %1 (%2); \"vornix phonebook undo-import\" takes it back.\n"_s.arg(name, shown.shortID),
        shown.json(false));
    return VXHostOutput::Done;
}
