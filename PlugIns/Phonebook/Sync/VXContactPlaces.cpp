#include "VXContactPlaces.h"

#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"

#include <QtCore/QMultiHash>

using namespace Qt::StringLiterals;

const QString VXContactPlace::entityName = u"VXContactPlace"_s;

namespace {

const QString phoneKey = u"phone"_s;
const QString refusedKey = u"refused"_s;

} // namespace

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

void VXContactPlaces::add(const VXContactPlace &place)
{
    const QString location = place.location();
    const VXManagedObjectPtr person = place.person();
    _known.append({.place = place.object()->objectID(),
                   .person = person ? person->objectID() : VXManagedObjectID(),
                   .memory = location.isEmpty() ? QString() : only(location.section(u'/', 0, 0)),
                   .phone = place.phone().isEmpty() ? QString() : only(place.phone())});
    _traits.append(VXContactTraits::of(location, place.there()));
}

const QString &VXContactPlaces::only(const QString &text)
{
    return *_texts.insert(text);
}

void VXContactPlaces::keepOnly(const QString &phone)
{
    QList<Known> known;
    QList<VXContactTraits> traits;
    for (qsizetype index = 0; index < _known.size(); ++index) {
        const QString &own = _known[index].phone;
        if (!phone.isEmpty() && !own.isEmpty() && own != phone)
            continue;
        known.append(_known[index]);
        traits.append(_traits[index]);
    }
    _known = known;
    _traits = traits;
}

void VXContactPlaces::clear()
{
    _known.clear();
    _traits.clear();
}

QStringList VXContactPlaces::phones() const
{
    QSet<QString> phones;
    for (const Known &known : _known)
        phones.insert(known.phone);
    phones.remove(QString());
    return phones.values();
}

void VXContactPlaces::match(const VXPhoneContacts &contacts, qsizetype first)
{
    using Traits = VXContactTraits;
    for (qsizetype index = first; index < contacts.size(); ++index)
        _news.append(index);
    const auto location = [](const Traits &traits) { return traits.location; };
    const auto content = [](const Traits &traits) { return traits.content; };
    const auto name = [](const Traits &traits) { return traits.name; };
    const auto nothing = [](const Traits &) { return size_t(0); };

    match(contacts, location, [](const Traits &a, const Traits &b) { return a.content == b.content; });
    match(contacts, content, [](const Traits &, const Traits &) { return true; });
    match(contacts, location,
          [](const Traits &a, const Traits &b) { return (a.name != 0 && a.name == b.name) || a.sharesAddress(b); });
    match(contacts, name, [](const Traits &a, const Traits &b) {
        return a.name != 0 && (a.sharesAddress(b) || a.addresses.isEmpty() || b.addresses.isEmpty());
    });
    // What was written, but is not known to be: the phone may have cut the name off.
    match(contacts, nothing, [](const Traits &a, const Traits &b) { return a.location == 0 && a.sharesAddress(b); });
}

void VXContactPlaces::match(const VXPhoneContacts &contacts, const std::function<size_t(const VXContactTraits &)> &key,
                            const Test &test)
{
    QMultiHash<size_t, qsizetype> left;
    for (qsizetype index = _known.size() - 1; index >= 0; --index) { // the last that is inserted is found first
        if (_known[index].met < 0)
            left.insert(key(_traits[index]), index);
    }
    _news.removeIf([&](qsizetype contact) {
        if (left.isEmpty())
            return false;
        const VXContactTraits &traits = contacts.traits(contact);
        for (auto place = left.find(key(traits)); place != left.end() && place.key() == key(traits); ++place) {
            if (!test(_traits[*place], traits))
                continue;
            _known[*place].met = contact;
            left.erase(place);
            return true;
        }
        return false;
    });
}
