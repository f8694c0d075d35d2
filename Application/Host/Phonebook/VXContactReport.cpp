#include "VXContactReport.h"

#include "VXHostJSON.h"
#include "VXPhonebookType.h"
#include "VXReadableText.h"

using namespace Qt::StringLiterals;

VXShownContact::VXShownContact(const VXManagedObjectPtr &person)
    : shortID(u'p' + QString::number(person->objectID().number())),
      uri(person->objectID().uriRepresentation().toString()), contact(QVariant::fromValue(person))
{
}

QStringList VXShownAddresses(const QList<VXContactRecord::Address> &addresses)
{
    QStringList shown;
    for (const VXContactRecord::Address &address : addresses) {
        const QString letters = VXStringFromPhonebookTypeMask(address.type);
        shown.append(letters.isNull() ? address.value : address.value + u'/' + letters);
    }
    return shown;
}

namespace {

// Appends the letters of its type, if it has any.
QString withType(const QString &text, unsigned type)
{
    const QString letters = VXStringFromPhonebookTypeMask(type);
    return letters.isNull() ? text : text + " ("_L1 + letters + u')';
}

// As on an envelope, but on one line.
QString shownAddress(const VXContactRecord::PostalAddress &address)
{
    QStringList town{address.zip, address.city};
    town.removeIf([](const QString &part) { return part.isEmpty(); });
    QStringList lines = address.street.split(u'\n') + address.text.split(u'\n');
    lines << town.join(u' ') << address.state << address.country;
    lines.removeIf([](const QString &line) { return line.isEmpty(); });
    return withType(lines.join(", "_L1), address.type);
}

} // namespace

QStringList VXShownContact::titles()
{
    return {u"ID"_s, u"NAME"_s, u"NUMBERS"_s, u"ADDRESSES"_s, u"GROUPS"_s};
}

QStringList VXShownContact::columns() const
{
    return {shortID, contact.shownName(), VXShownAddresses(contact.numbers).join(", "_L1),
            VXShownAddresses(contact.emails).join(", "_L1), contact.groups.join(", "_L1)};
}

QJsonObject VXShownContact::json(bool withImage) const
{
    VXContactRecord shown = contact;
    if (!withImage)
        shown.image.clear();
    QJsonObject json = VXJSONFromVariant(shown.map()).toObject();
    json.insert(u"id"_s, shortID);
    json.insert(u"uri"_s, uri);
    json.insert(u"displayName"_s, contact.shownName());
    return json;
}

QString VXShownContact::text() const
{
    QJsonObject shown = json(false);
    QStringList urls; // these contain slashes themselves
    for (const VXContactRecord::Address &url : contact.urls)
        urls.append(withType(url.value, url.type));
    QStringList addresses;
    for (const VXContactRecord::PostalAddress &address : contact.addresses)
        addresses.append(shownAddress(address));
    const std::pair<QString, QStringList> lists[] = {{u"numbers"_s, VXShownAddresses(contact.numbers)},
                                                     {u"emails"_s, VXShownAddresses(contact.emails)},
                                                     {u"urls"_s, urls},
                                                     {u"addresses"_s, addresses},
                                                     {u"groups"_s, contact.groups}};
    for (const auto &[key, list] : lists) {
        if (!list.isEmpty())
            shown.insert(key, list.join(key == "addresses"_L1 ? "; "_L1 : ", "_L1));
    }
    if (contact.birthday.isValid())
        shown.insert(u"birthday"_s, contact.birthday.toString(Qt::ISODate));
    if (!contact.image.isEmpty())
        shown.insert(u"image"_s, u"%1 bytes"_s.arg(contact.image.size()));
    return VXReadableText(shown);
}
