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

bool VXPhoneContacts::add(const QVariantList &items, VXError *error)
{
    QDataStream stream(&_file);
    bool isKept = (_file.isOpen() || _file.open()) && _file.seek(_file.size());
    _newest.clear();
    for (const QVariant &value : items) {
        const QVariantMap item = value.toMap();
        if (!isKept)
            break;
        if (_hasTraits) {
            const VXPhoneContact contact = VXPhoneContact::fromItem(item);
            if (contact.isEmpty())
                continue;
            _traits.append(VXContactTraits::of(contact.location, contact.contact));
        }
        _places.append(_file.pos());
        _newest.append(item);
        stream << item;
        isKept = stream.status() == QDataStream::Ok;
    }
    isKept = isKept && _file.flush();
    if (!isKept)
        VXSetError(error, VXMakeError(_file.errorString()));
    return isKept;
}

std::optional<VXPhoneContact> VXPhoneContacts::at(qsizetype index, VXError *error)
{
    if (const qsizetype first = _places.size() - _newest.size(); index >= first)
        return VXPhoneContact::fromItem(_newest[index - first].toMap());
    QDataStream stream(&_file);
    QVariantMap item;
    if (_file.seek(_places[index]))
        stream >> item;
    if (stream.status() == QDataStream::Ok && !item.isEmpty())
        return VXPhoneContact::fromItem(item);
    VXSetError(error, VXMakeError(_file.errorString()));
    return std::nullopt;
}
