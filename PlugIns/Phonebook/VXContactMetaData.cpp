#include "VXContactMetaData.h"

#include "VXContactNames.h"
#include "VXMetaDataSource.h"

#include <QtCore/QStringList>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

using Address = VXContactRecord::Address;
using PostalAddress = VXContactRecord::PostalAddress;

QStringList withoutNone(QStringList texts)
{
    texts.removeIf([](const QString &text) { return text.isEmpty(); });
    return texts;
}

QStringList textsOf(const QList<Address> &addresses)
{
    QStringList texts;
    for (const Address &address : addresses)
        texts.append(address.value);
    return texts;
}

QStringList textsOf(const QList<PostalAddress> &addresses)
{
    QStringList texts;
    for (const PostalAddress &each : addresses)
        texts.append(
            withoutNone({each.street, each.zip, each.city, each.state, each.country, each.text}).join(", "_L1));
    return withoutNone(texts);
}

} // namespace

QVariantMap VXContactMetaData(const VXContactRecord &contact, const QString &title)
{
    const QStringList numbers = textsOf(contact.numbers);
    const QStringList emails = textsOf(contact.emails);
    const std::pair<QString, QVariant> values[] = {
        {u"kMDItemKind"_s, u"contact"_s},
        {u"kMDItemTitle"_s, title},
        {u"kMDItemDescription"_s, withoutNone(QStringList{contact.company} + numbers + emails).join(", "_L1)},
        {u"kMDItemContactKeywords"_s, VXNamesOfContact(contact)},
        {u"kMDItemOrganizations"_s, contact.company},
        {u"kMDItemJobTitle"_s, withoutNone(QStringList{contact.jobTitle} + VXRolesOfContact(contact))},
        {u"kMDItemPhoneNumbers"_s, numbers},
        {u"kMDItemEmailAddresses"_s, emails},
        {u"kMDItemURLs"_s, textsOf(contact.urls)},
        {u"kMDItemPostalAddresses"_s, textsOf(contact.addresses)},
        {u"kMDItemKeywords"_s, contact.groups},
        {u"kMDItemTextContent"_s, contact.note},
    };
    QVariantMap metaData{{VXMetaDataGenerationKey, VXMetaDataGeneration}};
    for (const auto &[key, value] : values) {
        const bool isList = value.typeId() == QMetaType::QStringList;
        if (isList ? !value.toStringList().isEmpty() : !value.toString().isEmpty())
            metaData.insert(key, value);
    }
    QVariantList types;
    for (const Address &each : contact.numbers + contact.emails)
        types.append(qint64(each.type));
    if (!types.isEmpty()) {
        metaData.insert(u"VXPartyAddresses"_s, numbers + emails);
        metaData.insert(u"VXPartyTypes"_s, types);
    }
    return metaData;
}
