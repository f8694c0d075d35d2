#include "VXPhoneChange.h"

#include "VXContactMerge.h"
#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"
#include "VXPhoneNumber.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// A number that nobody changed stays on the phone as it is written there.
VXContactRecord asWrittenThere(VXContactRecord wanted, const VXContactRecord &there)
{
    for (VXContactRecord::Address &number : wanted.numbers) {
        const auto written = std::ranges::find_if(there.numbers, [&](const VXContactRecord::Address &each) {
            return VXPhoneNumberWithoutTrunkZero(each.value.trimmed()) == number.value;
        });
        if (written != there.numbers.end())
            number.value = written->value;
    }
    return wanted;
}

// What we know nothing of stays as it was read.
QVariantMap objectFor(const VXPhoneContact &contact, const VXContactRecord &wanted)
{
    QVariantMap object = contact.item;
    const QVariantMap known = VXContactRecord(contact.item).map();
    object.removeIf([&](const auto &entry) {
        return known.contains(entry.key()) || entry.value().typeId() == QMetaType::QVariantList;
    });
    object.insert(asWrittenThere(wanted, VXContactRecord(contact.item)).map());
    object.insert(u"expected"_s, contact.item);
    return object;
}

} // namespace

QString VXPhoneChange::actionName() const
{
    return kind == Kind::Delete ? u"delete_contact"_s : u"write_contact"_s;
}

bool VXPhoneChange::make(VXManagedObjectContext &context, VXPhoneContacts &contacts, VXError *error)
{
    const VXContactPlace known(context.existingObjectWithID(placeID, error));
    const VXManagedObjectPtr person = known.object() ? known.person() : VXManagedObjectPtr();
    if (!known.object() || (kind != Kind::Delete && !person))
        return false;
    if (kind == Kind::Put) {
        here = VXPhoneRecordOfPerson(person);
        object = here->map();
        return true;
    }
    const std::optional<VXPhoneContact> there = contacts.at(contact, error);
    if (!there)
        return false;
    if (kind == Kind::Delete) {
        object = {{u"memory"_s, there->item.value(u"memory"_s)},
                  {u"location"_s, there->item.value(u"location"_s)},
                  {u"expected"_s, there->item}};
        return true;
    }
    here = VXPhoneRecordOfPerson(person);
    const VXContactRecord wanted = VXContactWantedThere(known, *here, there->contact);
    object = objectFor(*there, wanted);
    return !VXIsSameContact(wanted, there->contact);
}

VXContactRecord VXRecordOfPerson(const VXManagedObjectPtr &person)
{
    return VXStorableContact(VXContactRecord(QVariant::fromValue(person)));
}

VXContactRecord VXPhoneRecordOfPerson(const VXManagedObjectPtr &person)
{
    return VXContactForPhone(VXContactRecord(QVariant::fromValue(person)));
}

VXContactRecord VXContactWantedThere(const VXContactPlace &place, const VXContactRecord &here,
                                     const VXContactRecord &there)
{
    return VXContactForPhone(VXMergeContacts(place.here(), here, there, there).contact);
}
