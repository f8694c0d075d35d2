#include "VXCardWriter.h"

#include "VXObjectValues.h"
#include "VXPhonebookType.h"

#include <QtCore/QMimeDatabase>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

// Sections 5.6 and 6.4.1 of RFC 6350.
QString typeParameters(unsigned mask, const QString &label = {})
{
    const unsigned kind = mask & VXPhonebookTypeKindMask;
    QStringList types;
    if ((mask & VXPhonebookTypeHome) != 0)
        types.append(u"home"_s);
    if ((mask & VXPhonebookTypeWork) != 0)
        types.append(u"work"_s);
    if (kind == VXPhonebookTypeFax)
        types.append(u"fax"_s);
    else if (kind == VXPhonebookTypeMobile)
        types.append(u"cell"_s);
    else if (kind == VXPhonebookTypePager)
        types.append(u"pager"_s);
    if (label == "video"_L1)
        types.append(u"video"_s);
    else if (label == "messaging"_L1)
        types.append(u"text"_s);
    QString parameters;
    if (!types.isEmpty())
        parameters = u";TYPE="_s + (types.size() > 1 ? u'"' + types.join(u',') + u'"' : types.first());
    return kind == VXPhonebookTypePrimary ? parameters + ";PREF=1"_L1 : parameters;
}

// The parts of a structured value.
QString joined(QStringList parts)
{
    std::transform(parts.cbegin(), parts.cend(), parts.begin(), VXContentLines::escapedText);
    return parts.join(u';');
}

// The number or address itself, when it has no person.
QVariant contactIn(const QVariant &object)
{
    const QVariant person = VXValueForKey(object, u"person"_s);
    return VXManagedObjectIn(person) != nullptr ? person : object;
}

} // namespace

QByteArray VXCardWriter::card(const QVariant &object)
{
    const VXContactRecord contact(object);
    const QString name = contact.displayName();
    if (name.isEmpty())
        return {};
    VXCardWriter writer(contact);
    writer._lines.add(u"BEGIN"_s, u"VCARD"_s);
    writer._lines.add(u"VERSION"_s, u"4.0"_s);
    writer._lines.addText(u"FN"_s, name);
    writer.addName();
    writer._lines.addTextIfAny(u"NICKNAME"_s, contact.nickname);
    writer._lines.addTextIfAny(u"ORG"_s, contact.company);
    writer._lines.addTextIfAny(u"TITLE"_s, contact.jobTitle);
    writer.addAddresses(u"TEL"_s, contact.numbers);
    writer.addAddresses(u"EMAIL"_s, contact.emails);
    writer.addPostalAddresses();
    writer.addGroups();
    writer._lines.addTextIfAny(u"NOTE"_s, contact.note);
    writer.addImage();
    writer.addLinks();
    writer.addIdentity(object);
    writer._lines.add(u"END"_s, u"VCARD"_s);
    return writer._lines.bytes();
}

void VXCardWriter::addName()
{
    const QStringList parts{_contact.lastName, _contact.firstName, _contact.middleName, _contact.namePrefix,
                            _contact.nameSuffix};
    if (std::ranges::any_of(parts, [](const QString &part) { return !part.isEmpty(); }))
        _lines.add(u"N"_s, joined(parts));
}

void VXCardWriter::addAddresses(const QString &property, const QList<VXContactRecord::Address> &addresses)
{
    for (const VXContactRecord::Address &address : addresses)
        _lines.addText(property + typeParameters(address.type, address.label), address.value);
}

// Section 6.3.1; the whole of an address whose parts are not known goes where the street belongs.
void VXCardWriter::addPostalAddresses()
{
    for (const VXContactRecord::PostalAddress &address : _contact.addresses) {
        const QString street = address.street.isEmpty() ? address.text : address.street;
        _lines.add(u"ADR"_s + typeParameters(address.type),
                   joined({{}, {}, street, address.city, address.state, address.zip, address.country}));
    }
}

void VXCardWriter::addLinks()
{
    for (const VXContactRecord::Address &link : _contact.urls) {
        const QUrl url(link.value, QUrl::StrictMode);
        if (url.isValid() && !url.scheme().isEmpty())
            _lines.add(u"URL"_s + typeParameters(link.type), url.toString(QUrl::FullyEncoded));
    }
}

void VXCardWriter::addGroups()
{
    QStringList names;
    std::ranges::transform(_contact.groups, std::back_inserter(names), VXContentLines::escapedText);
    if (!names.isEmpty())
        _lines.add(u"CATEGORIES"_s, names.join(u','));
}

void VXCardWriter::addImage()
{
    const QByteArray &image = _contact.image;
    const QString type = image.isEmpty() ? QString() : QMimeDatabase().mimeTypeForData(image).name();
    if (type.startsWith("image/"_L1))
        _lines.add(u"PHOTO"_s, u"data:%1;base64,%2"_s.arg(type, QString::fromLatin1(image.toBase64())));
}

void VXCardWriter::addIdentity(const QVariant &object)
{
    if (_contact.birthday.isValid())
        _lines.add(u"BDAY"_s, _contact.birthday.toString(u"yyyyMMdd"));
    const QVariant contact = contactIn(object);
    const VXManagedObject *const stored = VXManagedObjectIn(contact);
    if (stored != nullptr && !stored->objectID().isTemporary())
        _lines.add(u"UID"_s, VXValueText(contact));
}
