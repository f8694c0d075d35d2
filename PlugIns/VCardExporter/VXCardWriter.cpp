#include "VXCardWriter.h"

#include "VXNone.h"
#include "VXObjectValues.h"
#include "VXPhonebookType.h"

#include <QtCore/QDate>
#include <QtCore/QDateTime>
#include <QtCore/QMimeDatabase>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

QVariant valueOf(const QVariant &object, const QString &key)
{
    const QVariant value = VXValueForKey(object, key);
    return VXIsNone(value) ? QVariant() : value;
}

// A number or an e-mail address: an object with it and a type, or the text alone.
QString addressText(const QVariant &address, const QString &key)
{
    return (address.typeId() == QMetaType::QString ? address : valueOf(address, key)).toString();
}

// Section 5.6 and 6.4.1 of RFC 6350.
QString typeParameters(unsigned mask)
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
    QString parameters;
    if (!types.isEmpty())
        parameters = u";TYPE="_s + (types.size() > 1 ? u'"' + types.join(u',') + u'"' : types.first());
    return kind == VXPhonebookTypePrimary ? parameters + ";PREF=1"_L1 : parameters;
}

} // namespace

QByteArray VXCardWriter::card(const QVariant &object)
{
    const QVariant person = valueOf(object, u"person"_s);
    VXCardWriter writer(person.isValid() ? person : object);
    const QString name = writer.formattedName();
    if (name.isEmpty())
        return {};
    writer._lines.add(u"BEGIN"_s, u"VCARD"_s);
    writer._lines.add(u"VERSION"_s, u"4.0"_s);
    writer._lines.addText(u"FN"_s, name);
    writer.addName();
    writer._lines.addTextIfAny(u"NICKNAME"_s, writer.text(u"nickname"_s));
    writer._lines.addTextIfAny(u"ORG"_s, writer.text(u"company"_s));
    writer.addAddresses(u"numbers"_s, u"number"_s, u"TEL"_s);
    writer.addAddresses(u"emails"_s, u"address"_s, u"EMAIL"_s);
    writer.addGroups();
    writer._lines.addTextIfAny(u"NOTE"_s, writer.text(u"note"_s));
    writer.addImage();
    writer.addIdentity();
    writer._lines.add(u"END"_s, u"VCARD"_s);
    return writer._lines.bytes();
}

QString VXCardWriter::text(const QString &key) const
{
    return valueOf(_contact, key).toString().trimmed();
}

QVariantList VXCardWriter::list(const QString &key) const
{
    const QVariant value = valueOf(_contact, key);
    if (!value.isValid())
        return {};
    if (value.metaType() == QMetaType::fromType<QList<VXManagedObjectPtr>>()) {
        QVariantList objects;
        for (const VXManagedObjectPtr &object : value.value<QList<VXManagedObjectPtr>>())
            objects.append(QVariant::fromValue(object));
        return objects;
    }
    const bool isList = value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
    return isList ? value.toList() : QVariantList{value};
}

// Every card must have one: what people would call the contact.
QString VXCardWriter::formattedName() const
{
    QStringList names{text(u"firstName"_s), text(u"lastName"_s)};
    names.removeAll(QString());
    names.removeAll(u""_s);
    if (!names.isEmpty())
        return names.join(u' ');
    for (const QString &key : {u"name"_s, u"nickname"_s, u"company"_s}) {
        if (const QString name = text(key); !name.isEmpty())
            return name;
    }
    for (const auto &[listKey, valueKey] :
         {std::pair(u"numbers"_s, u"number"_s), std::pair(u"emails"_s, u"address"_s)}) {
        for (const QVariant &address : list(listKey)) {
            if (const QString value = addressText(address, valueKey); !value.isEmpty())
                return value;
        }
    }
    const QString number = text(u"number"_s);
    return number.isEmpty() ? text(u"address"_s) : number;
}

void VXCardWriter::addName()
{
    const QString first = text(u"firstName"_s);
    const QString last = text(u"lastName"_s);
    if (!first.isEmpty() || !last.isEmpty())
        _lines.add(u"N"_s, u"%1;%2;;;"_s.arg(VXContentLines::escapedText(last), VXContentLines::escapedText(first)));
}

void VXCardWriter::addAddresses(const QString &listKey, const QString &valueKey, const QString &property)
{
    QVariantList addresses = list(listKey);
    if (addresses.isEmpty() && valueOf(_contact, valueKey).isValid()) // a number without person
        addresses = {_contact};
    for (const QVariant &address : addresses) {
        const QString parameters = typeParameters(valueOf(address, u"type"_s).toUInt());
        _lines.addTextIfAny(property + parameters, addressText(address, valueKey));
    }
}

void VXCardWriter::addGroups()
{
    QStringList names;
    for (const QVariant &group : list(u"groups"_s)) {
        if (const QString name = addressText(group, u"name"_s); !name.isEmpty())
            names.append(VXContentLines::escapedText(name));
    }
    if (!names.isEmpty())
        _lines.add(u"CATEGORIES"_s, names.join(u','));
}

void VXCardWriter::addImage()
{
    const QByteArray image = valueOf(_contact, u"image"_s).toByteArray();
    const QString type = image.isEmpty() ? QString() : QMimeDatabase().mimeTypeForData(image).name();
    if (type.startsWith("image/"_L1))
        _lines.add(u"PHOTO"_s, u"data:%1;base64,%2"_s.arg(type, QString::fromLatin1(image.toBase64())));
}

void VXCardWriter::addIdentity()
{
    const QDate birthday = valueOf(_contact, u"birthday"_s).toDate();
    if (birthday.isValid())
        _lines.add(u"BDAY"_s, birthday.toString(u"yyyyMMdd"));
    const QUrl url(text(u"url"_s), QUrl::StrictMode);
    if (url.isValid() && !url.scheme().isEmpty())
        _lines.add(u"URL"_s, url.toString(QUrl::FullyEncoded));
    const VXManagedObject *const stored = VXManagedObjectIn(_contact);
    if (stored != nullptr && !stored->objectID().isTemporary())
        _lines.add(u"UID"_s, VXValueText(_contact));
}
