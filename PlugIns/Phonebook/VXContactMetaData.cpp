#include "VXContactMetaData.h"

#include "VXMetaDataSource.h"

#include <QtCore/QStringList>

#include <algorithm>
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

// From the properties of its vCard that have no place of their own, those that say how the names are pronounced or
// sorted.
QStringList soundsOf(const VXContactRecord &contact)
{
    QStringList sounds;
    for (const QString &line : contact.properties) {
        const QString name = line.section(u':', 0, 0).section(u';', 0, 0).section(u'.', -1).toUpper();
        if (name.startsWith("X-PHONETIC-"_L1) || name == "SORT-STRING"_L1)
            sounds.append(line.section(u':', 1).remove(u'\\').trimmed());
    }
    return withoutNone(sounds);
}

bool isOf(const QString &name, std::initializer_list<QChar::Script> scripts)
{
    const QList<uint> letters = name.toUcs4();
    return !letters.isEmpty() && std::ranges::all_of(letters, [&](uint letter) {
        return std::ranges::find(scripts, QChar::script(letter)) != scripts.end();
    });
}

bool isWrittenTogether(const QString &name)
{
    return isOf(name, {QChar::Script_Hangul, QChar::Script_Han, QChar::Script_Hiragana, QChar::Script_Katakana});
}

// The family name has one syllable or, in longer names, perhaps two. (Chinese and Japanese words are found from any
// letter on.)
QStringList givenNamesIn(const QString &name)
{
    constexpr qsizetype longestName = 5;
    QStringList names;
    if (isOf(name, {QChar::Script_Hangul}) && name.size() <= longestName) {
        for (qsizetype family = 1; family < name.size() && family <= (name.size() > 3 ? 2 : 1); ++family)
            names.append(name.sliced(family));
    }
    return names;
}

QStringList namesOf(const VXContactRecord &contact)
{
    QStringList names = withoutNone({contact.namePrefix, contact.firstName, contact.middleName, contact.lastName,
                                     contact.nameSuffix, contact.nickname});
    if (isWrittenTogether(contact.firstName) && isWrittenTogether(contact.lastName))
        names.append(contact.lastName + contact.firstName);
    if (contact.firstName.isEmpty() != contact.lastName.isEmpty()) // the whole name is in one field
        names += givenNamesIn(contact.firstName + contact.lastName);
    return names + soundsOf(contact);
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
        {u"kMDItemContactKeywords"_s, namesOf(contact)},
        {u"kMDItemOrganizations"_s, contact.company},
        {u"kMDItemJobTitle"_s, contact.jobTitle},
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
    return metaData;
}
