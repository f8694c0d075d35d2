#include "VXPhoneContacts.h"

#include "VXContactMatch.h"
#include "VXContactMerge.h"
#include "VXContactWriter.h"
#include "VXErrorDomain.h"
#include "VXPhoneNumber.h"

#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QDataStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

template <class Text>
size_t hashOf(const Text &text)
{
    return text.isEmpty() ? 0 : qHash(text, size_t(QHashSeed::globalSeed())) | 1;
}

} // namespace

VXPhoneContact VXPhoneContact::fromItem(const QVariantMap &item)
{
    return {.item = item,
            .location = item.value(u"memory"_s).toString() + u'/' + item.value(u"location"_s).toString(),
            .contact = VXContactForPhone(VXContactRecord(item))};
}

bool VXPhoneContact::isEmpty() const
{
    return VXIsSameContact(contact, {});
}

VXContactTraits VXContactTraits::of(const QString &location, const VXContactRecord &contact)
{
    VXContactTraits traits{.location = hashOf(location),
                           .content = hashOf(QCborValue::fromVariant(contact.map()).toCbor()),
                           .name = hashOf(VXContactNameKey(contact))};
    for (const VXContactRecord::Address &number : contact.numbers)
        traits.addresses.append(hashOf(VXPhoneNumberSearchString(number.value)));
    for (const VXContactRecord::Address &email : contact.emails)
        traits.addresses.append(hashOf(email.value.toLower()));
    return traits;
}

bool VXContactTraits::sharesAddress(const VXContactTraits &other) const
{
    return std::ranges::any_of(addresses, [&](size_t address) { return other.addresses.contains(address); });
}

VXPhonePortion::VXPhonePortion(const QVariantMap &result, bool isKnown) : phone(result.value(u"phone"_s).toString())
{
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    for (const QVariant &value : result.value(u"items"_s).toList()) {
        const VXPhoneContact contact = VXPhoneContact::fromItem(value.toMap());
        if (contact.isEmpty())
            continue;
        if (isKnown)
            traits.append(VXContactTraits::of(contact.location, contact.contact));
        else
            keys.append(VXContactKeys(contact.contact));
        contacts.append(contact);
        places.append(bytes.size());
        stream << contact.item;
    }
    isWritten = stream.status() == QDataStream::Ok;
}

bool VXPhoneContacts::add(const VXPhonePortion &portion, VXError *error)
{
    const qint64 start = _file.isOpen() || _file.open() ? _file.size() : -1;
    const bool isKept = portion.isWritten && start >= 0 && _file.seek(start) &&
                        _file.write(portion.bytes) == portion.bytes.size() && _file.flush();
    if (!isKept) {
        VXSetError(error, VXMakeError(_file.errorString()));
        return false;
    }
    for (const qint64 place : portion.places)
        _places.append(start + place);
    _newest = portion.contacts;
    _newestKeys = portion.keys;
    _traits += portion.traits;
    return true;
}

std::optional<VXPhoneContact> VXPhoneContacts::at(qsizetype index, VXError *error)
{
    if (const qsizetype first = _places.size() - _newest.size(); index >= first)
        return _newest[index - first];
    QDataStream stream(&_file);
    QVariantMap item;
    if (_file.seek(_places[index]))
        stream >> item;
    if (stream.status() == QDataStream::Ok && !item.isEmpty())
        return VXPhoneContact::fromItem(item);
    VXSetError(error, VXMakeError(_file.errorString()));
    return std::nullopt;
}

VXContactKeys VXPhoneContacts::keysOf(qsizetype index, const VXPhoneContact &contact) const
{
    const qsizetype first = _places.size() - _newestKeys.size();
    return index >= first ? _newestKeys[index - first] : VXContactKeys(contact.contact);
}
