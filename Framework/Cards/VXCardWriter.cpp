#include "VXCardWriter.h"

#include "VXCardLine.h"
#include "VXManagedObject.h"
#include "VXPhonebookType.h"

#include <QtCore/QMimeDatabase>
#include <QtCore/QStringList>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

// Joins the parts of a structured value.
QString joined(QStringList parts)
{
    std::transform(parts.cbegin(), parts.cend(), parts.begin(), VXContentLines::escapedText);
    return parts.join(u';');
}

// Joins what the reader had joined with a blank after each separator.
QString separated(const QString &text, QChar separator)
{
    QStringList parts = text.split(QString(separator) + u' ');
    std::transform(parts.cbegin(), parts.cend(), parts.begin(), VXContentLines::escapedText);
    return parts.join(separator);
}

// The URI of a stored contact; for a number or address, that of its person.
QString uriOf(const QVariant &object)
{
    const QVariant person = VXValueForKey(object, u"person"_s);
    auto stored = person.value<VXManagedObjectPtr>();
    if (!stored)
        stored = object.value<VXManagedObjectPtr>();
    return stored && !stored->objectID().isTemporary() ? stored->objectID().uriRepresentation().toString() : QString();
}

} // namespace

QByteArray VXCardWriter::card(const QVariant &object, Version version)
{
    VXContactRecord contact(object);
    if (contact.uid.isEmpty())
        contact.uid = uriOf(object);
    return card(contact, version);
}

QByteArray VXCardWriter::card(const VXContactRecord &contact, Version version)
{
    const QString name = contact.displayName();
    if (name.isEmpty())
        return {};
    VXCardWriter writer(contact, version);
    writer._lines.add(u"BEGIN"_s, u"VCARD"_s);
    writer._lines.add(u"VERSION"_s, version == Version::V3 ? u"3.0"_s : u"4.0"_s);
    if (contact.fullNameLines().isEmpty())
        writer._lines.addText(u"FN"_s, name);
    writer.addProperties(contact.fullNameLines());
    writer.addName();
    if (!contact.nickname.isEmpty())
        writer._lines.add(u"NICKNAME"_s + writer.furtherParameters(u"NICKNAME"_s), separated(contact.nickname, u','));
    if (!contact.company.isEmpty())
        writer._lines.add(u"ORG"_s + writer.furtherParameters(u"ORG"_s), separated(contact.company, u';'));
    writer._lines.addTextIfAny(u"TITLE"_s + writer.furtherParameters(u"TITLE"_s), contact.jobTitle);
    writer.addAddresses(u"TEL"_s, contact.numbers);
    writer.addAddresses(u"EMAIL"_s, contact.emails);
    writer.addPostalAddresses();
    writer.addGroups();
    writer._lines.addTextIfAny(u"NOTE"_s + writer.furtherParameters(u"NOTE"_s), contact.note);
    writer.addImage();
    writer.addLinks();
    writer.addBirthday();
    if (contact.uid.contains(u':')) // a URI
        writer._lines.add(u"UID"_s, contact.uid);
    else
        writer._lines.addTextIfAny(u"UID"_s, contact.uid);
    VXContactRecord rest = contact;
    rest.removeFullNameLines();
    rest.properties.removeIf([&](const QString &line) {
        const bool isBirthday = line.startsWith("BDAY:"_L1) || line.startsWith("BDAY;"_L1); // a birthday without a year
        return line.startsWith(VXCardLine::furtherParameters) || (isBirthday && contact.birthday.isValid());
    });
    writer.addProperties(rest.properties);
    writer._lines.add(u"END"_s, u"VCARD"_s);
    return writer._lines.bytes();
}

// Sections 5.6 and 6.4.1 of RFC 6350, 3.3.1 of RFC 2426.
QString VXCardWriter::typeParameters(unsigned mask, const QString &label) const
{
    const unsigned kind = mask & VXPhonebookTypeKindMask;
    const std::pair<bool, QString> known[] = {
        {(mask & VXPhonebookTypeHome) != 0, u"home"_s},
        {(mask & VXPhonebookTypeWork) != 0, u"work"_s},
        {kind == VXPhonebookTypeFax, u"fax"_s},
        {kind == VXPhonebookTypeMobile, u"cell"_s},
        {kind == VXPhonebookTypePager, u"pager"_s},
        {label == "video"_L1, u"video"_s},
        {label == "messaging"_L1, _version == Version::V3 ? u"msg"_s : u"text"_s},
        {kind == VXPhonebookTypePrimary && _version == Version::V3, u"pref"_s},
    };
    QStringList types;
    for (const auto &[holds, type] : known) {
        if (holds)
            types.append(type);
    }
    QString parameters;
    if (!types.isEmpty()) {
        const bool isQuoted = types.size() > 1 && _version == Version::V4;
        parameters = u";TYPE="_s + (isQuoted ? u'"' + types.join(u',') + u'"' : types.join(u','));
    }
    return kind == VXPhonebookTypePrimary && _version == Version::V4 ? parameters + ";PREF=1"_L1 : parameters;
}

VXCardWriter::VXCardWriter(const VXContactRecord &contact, Version version) : _contact(contact), _version(version)
{
    for (const QString &line : contact.properties) {
        QString problem;
        const auto parsed = line.startsWith(VXCardLine::furtherParameters)
                                ? VXCardLine::parse({.octets = line.toUtf8()}, &problem)
                                : std::nullopt;
        if (parsed)
            _parameters.insert(parsed->value, parsed->parametersBut({}));
    }
}

QString VXCardWriter::furtherParameters(const QString &name, const QString &value)
{
    return _parameters.take(VXCardLine::mark(name, value));
}

// In the form that address books with such labels use.
QString VXCardWriter::labelled(const QString &property, const QString &label)
{
    const bool isType = property == "TEL"_L1 && (label == "video"_L1 || label == "messaging"_L1);
    if (label.isEmpty() || isType)
        return property;
    const QString group = u"vxlabel%1."_s.arg(++_labelCount);
    _lines.addText(group + "X-ABLabel"_L1, label);
    return group + property;
}

void VXCardWriter::addName()
{
    const QStringList parts{_contact.lastName, _contact.firstName, _contact.middleName, _contact.namePrefix,
                            _contact.nameSuffix};
    const bool isEmpty = std::ranges::all_of(parts, [](const QString &part) { return part.isEmpty(); });
    if (!isEmpty || _version == Version::V3) // version 3 requires N
        _lines.add(u"N"_s + furtherParameters(u"N"_s), joined(parts));
}

void VXCardWriter::addAddresses(const QString &property, const QList<VXContactRecord::Address> &addresses)
{
    for (const VXContactRecord::Address &address : addresses) {
        _lines.addText(labelled(property, address.label) + typeParameters(address.type, address.label) +
                           furtherParameters(property, address.value),
                       address.value);
    }
}

// Section 6.3.1. The text of an address whose parts are unknown is written as the street.
void VXCardWriter::addPostalAddresses()
{
    for (const VXContactRecord::PostalAddress &address : _contact.addresses) {
        const QString street = address.street.isEmpty() ? address.text : address.street;
        const QString whole = address.street + u' ' + address.city + u' ' + address.zip;
        _lines.add(u"ADR"_s + typeParameters(address.type, {}) + furtherParameters(u"ADR"_s, whole),
                   joined({{}, {}, street, address.city, address.state, address.zip, address.country}));
    }
}

// Written unchanged, even if it is no complete URL: readers expect that.
void VXCardWriter::addLinks()
{
    for (const VXContactRecord::Address &link : _contact.urls)
        _lines.add(labelled(u"URL"_s, link.label) + typeParameters(link.type, {}) +
                       furtherParameters(u"URL"_s, link.value),
                   QString(link.value).replace(u'\\', "\\\\"_L1));
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
    if (!type.startsWith("image/"_L1))
        return;
    const QString data = QString::fromLatin1(image.toBase64());
    if (_version == Version::V4)
        _lines.add(u"PHOTO"_s, u"data:%1;base64,%2"_s.arg(type, data));
    else
        _lines.add(u"PHOTO;ENCODING=b;TYPE="_s + type.section(u'/', 1).toUpper(), data);
}

void VXCardWriter::addBirthday()
{
    if (_contact.birthday.isValid())
        _lines.add(u"BDAY"_s + furtherParameters(u"BDAY"_s),
                   _contact.birthday.toString(_version == Version::V3 ? u"yyyy-MM-dd"_s : u"yyyyMMdd"_s));
}

void VXCardWriter::addProperties(const QStringList &lines)
{
    for (const QString &line : lines) {
        if (const qsizetype colon = line.indexOf(u':'); colon > 0) // the parts were joined the same way
            _lines.add(line.first(colon), line.sliced(colon + 1));
    }
}
