#include "VXContactPlaces.h"

#include "VXContactMatch.h"
#include "VXContactMerge.h"
#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"
#include "VXPhoneNumber.h"

#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QMultiHash>

using namespace Qt::StringLiterals;

const QString VXContactPlace::entityName = u"VXContactPlace"_s;

namespace {

const QString phoneKey = u"phone"_s;
const QString refusedKey = u"refused"_s;

} // namespace

VXPhoneContact VXPhoneContact::fromItem(const QVariantMap &item)
{
    return {.item = item,
            .location = item.value(u"memory"_s).toString() + u'/' + item.value(u"location"_s).toString(),
            .contact = VXContactForPhone(VXContactRecord(item))};
}

// -- A place

VXContactPlace VXContactPlace::make(const QString &deviceURL, const QString &phone, const VXManagedObjectPtr &person,
                                    VXManagedObjectContext &context)
{
    VXContactPlace place(context.insertNewObject(entityName));
    place._object->setValueForKey(deviceURL, u"device_url"_s);
    place.setPhone(phone);
    place.setPerson(person);
    return place;
}

VXManagedObjectPtr VXContactPlace::person() const
{
    return _object->valueForKey(u"person"_s).value<VXManagedObjectPtr>();
}

void VXContactPlace::setPerson(const VXManagedObjectPtr &person)
{
    _object->setValueForKey(QVariant::fromValue(person), u"person"_s);
}

QString VXContactPlace::location() const
{
    return _object->valueForKey(u"location"_s).toString();
}

QString VXContactPlace::phone() const
{
    return _object->valueForKey(phoneKey).toString();
}

void VXContactPlace::setPhone(const QString &phone)
{
    if (this->phone() != phone)
        _object->setValueForKey(phone.isEmpty() ? QVariant() : QVariant(phone), phoneKey);
}

bool VXContactPlace::noteRefusal(const std::optional<VXContactRecord> &wanted)
{
    const VXContactRecord refused = wanted.value_or(VXContactRecord());
    const bool isNews = !isRefused() || !VXIsSameContact(record(refusedKey), refused);
    if (isNews)
        _object->setValueForKey(refused.map(), refusedKey);
    return isNews;
}

bool VXContactPlace::isRefused() const
{
    return _object->valueForKey(refusedKey).isValid();
}

void VXContactPlace::forgetRefusal()
{
    if (isRefused())
        _object->setValueForKey({}, refusedKey);
}

void VXContactPlace::note(const QString &location, const VXContactRecord &here, const VXContactRecord &there)
{
    if (this->location() != location)
        _object->setValueForKey(location.isEmpty() ? QVariant() : QVariant(location), u"location"_s);
    setRecord(u"here"_s, here);
    setRecord(u"there"_s, there);
}

VXContactRecord VXContactPlace::record(const QString &key) const
{
    return VXContactRecord(_object->valueForKey(key));
}

void VXContactPlace::setRecord(const QString &key, const VXContactRecord &record)
{
    if (!_object->valueForKey(key).isValid() || !VXIsSameContact(this->record(key), record))
        _object->setValueForKey(record.map(), key);
}

// -- All places

VXContactPlaces::VXContactPlaces(const QList<VXContactPlace> &places, const QList<VXPhoneContact> &contacts)
{
    for (const VXContactPlace &place : places) {
        _known.append({.place = place});
        _knownTraits.append(traitsOf(place.location(), place.there()));
    }
    for (const VXPhoneContact &contact : contacts)
        _news.append(&contact);
    const auto location = [](const Traits &traits) { return traits.location.toUtf8(); };
    const auto content = [](const Traits &traits) { return traits.content; };
    const auto name = [](const Traits &traits) { return traits.name.toUtf8(); };
    const auto nothing = [](const Traits &) { return QByteArray(); };
    const auto shareAddress = [](const Traits &a, const Traits &b) { return a.addresses.intersects(b.addresses); };

    match(location, [](const Traits &a, const Traits &b) { return a.content == b.content; });
    match(content, [](const Traits &, const Traits &) { return true; });
    match(location, [=](const Traits &a, const Traits &b) {
        return (!a.name.isEmpty() && a.name == b.name) || shareAddress(a, b);
    });
    match(name, [=](const Traits &a, const Traits &b) {
        return !a.name.isEmpty() && (shareAddress(a, b) || a.addresses.isEmpty() || b.addresses.isEmpty());
    });
    // Contacts that were written, but not confirmed: the phone may have truncated the name.
    match(nothing, [=](const Traits &a, const Traits &b) { return a.location.isEmpty() && shareAddress(a, b); });
}

VXContactPlaces::Traits VXContactPlaces::traitsOf(const QString &location, const VXContactRecord &contact)
{
    Traits traits{.location = location,
                  .content = QCborValue::fromVariant(contact.map()).toCbor(),
                  .name = VXContactNameKey(contact),
                  .addresses = {}};
    for (const VXContactRecord::Address &number : contact.numbers)
        traits.addresses.insert(VXPhoneNumberSearchString(number.value));
    for (const VXContactRecord::Address &email : contact.emails)
        traits.addresses.insert(email.value.toLower());
    return traits;
}

void VXContactPlaces::match(const std::function<QByteArray(const Traits &)> &key, const Test &test)
{
    QMultiHash<QByteArray, qsizetype> left;
    for (qsizetype index = _known.size() - 1; index >= 0; --index) { // the last one inserted is found first
        if (_known[index].met == nullptr)
            left.insert(key(_knownTraits[index]), index);
    }
    _news.removeIf([&](const VXPhoneContact *contact) {
        if (left.isEmpty())
            return false;
        const Traits traits = traitsOf(contact->location, contact->contact);
        for (auto place = left.find(key(traits)); place != left.end() && place.key() == key(traits); ++place) {
            if (!test(_knownTraits[*place], traits))
                continue;
            _known[*place].met = contact;
            left.erase(place);
            return true;
        }
        return false;
    });
}
