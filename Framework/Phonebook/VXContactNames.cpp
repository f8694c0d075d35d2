#include "VXContactNames.h"

#include <algorithm>
#include <initializer_list>

using namespace Qt::StringLiterals;

namespace {

QStringList withoutNone(QStringList texts)
{
    texts.removeIf([](const QString &text) { return text.isEmpty(); });
    return texts;
}

// Of the properties of its vCard that have no place of their own, the texts of those that are meant.
template <class IsMeant>
QStringList textsOf(const VXContactRecord &contact, const IsMeant &isMeant)
{
    QStringList texts;
    for (const QString &line : contact.properties) {
        if (isMeant(line.section(u':', 0, 0).section(u';', 0, 0).section(u'.', -1).toUpper()))
            texts.append(line.section(u':', 1).remove(u'\\').trimmed());
    }
    return withoutNone(texts);
}

bool tellsASound(const QString &property)
{
    return property.startsWith("X-PHONETIC-"_L1) || property == "SORT-STRING"_L1;
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

// The family name has one syllable, or, in longer ones, perhaps two. (Chinese and Japanese words are found from any letter on.)
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

} // namespace

QStringList VXNamesOfContact(const VXContactRecord &contact)
{
    QStringList names = withoutNone({contact.namePrefix, contact.firstName, contact.middleName, contact.lastName,
                                     contact.nameSuffix, contact.nickname});
    if (isWrittenTogether(contact.firstName) && isWrittenTogether(contact.lastName))
        names.append(contact.lastName + contact.firstName);
    if (contact.firstName.isEmpty() != contact.lastName.isEmpty()) // the whole name in one field
        names += givenNamesIn(contact.firstName + contact.lastName);
    return names + textsOf(contact, tellsASound);
}

QStringList VXRolesOfContact(const VXContactRecord &contact)
{
    return textsOf(contact, [](const QString &property) { return property == "ROLE"_L1; });
}
