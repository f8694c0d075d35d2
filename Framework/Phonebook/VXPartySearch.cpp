#include "VXPartySearch.h"

#include "VXConversationKey.h"
#include "VXPhonebookManager.h"
#include "VXPhoneNumber.h"

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned mostCompletions = 100;

VXPredicate wasRecordedWithWord(const QString &word)
{
    const VXPredicate asTyped = *VXPredicate::predicateWithFormat(u"otherParty_search CONTAINS[cd] %@"_s, {word});
    const QString number = VXIsNumberAsWritten(word) ? VXPhoneNumberLookUpString(word) : QString();
    if (number.isEmpty())
        return asTyped;
    if (VXPhonebookManager::sharedPhonebookManager().entryForAddress(
            word)) // not a part of one, as "40 5550-0" of "40 5550-044"
        return VXPredicate::anyOf(
            {*VXPredicate::predicateWithFormat(u"otherParty_search == %@"_s, {number}),
             *VXPredicate::predicateWithFormat(u"otherParty_search ENDSWITH %@"_s, {u' ' + number})});
    return VXPredicate::anyOf(
        {asTyped, *VXPredicate::predicateWithFormat(u"otherParty_search CONTAINS %@"_s, {number})});
}

} // namespace

QStringList VXTypedWords(const QString &text)
{
    const QString plain = text.simplified();
    if (plain.isEmpty() || VXIsNumberAsWritten(plain))
        return plain.isEmpty() ? QStringList() : QStringList{plain};
    QStringList words = plain.split(u' ');
    words.removeDuplicates();
    return words;
}

QStringList VXPartiesMeantBy(const QString &text)
{
    QStringList parties;
    if (text.isEmpty())
        return parties;
    for (const QString &each : VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(
             text, VXPhonebookPropertyNumber | VXPhonebookPropertyEmail, mostCompletions))
        parties.append(VXConversationKeysOf(each));
    parties.removeAll(QString());
    parties.removeDuplicates();
    return parties;
}

VXPredicate VXWasRecordedWith(const QString &text)
{
    QList<VXPredicate> all;
    for (const QString &word : VXTypedWords(text))
        all.append(wasRecordedWithWord(word));
    return VXPredicate::allOf(all);
}

VXPredicate VXHasOtherParty(const QString &text, const QStringList &parties)
{
    const QVariant all = QVariantList(parties.cbegin(), parties.cend());
    QList<VXPredicate> any{VXWasRecordedWith(text),
                           *VXPredicate::predicateWithFormat(u"otherParty_search IN %@"_s, QVariantList{all})};
    for (const QString &party : parties)
        any.append(*VXPredicate::predicateWithFormat(u"otherParty_search ENDSWITH %@"_s, {u' ' + party}));
    return VXPredicate::anyOf(any);
}
