#include "VXMessageDraft.h"

#include "VXConversationKey.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

namespace {

const QString partyPrefix = u"desktop.draft."_s;
const QString newPrefix = u"desktop.drafts.message."_s;
const QString formerKey = u"desktop.draft.new"_s; // of the only new message that earlier programs kept
const QString textKey = u"text"_s;
const QString receiversKey = u"receivers"_s;
const QString typedKey = u"typed"_s;

} // namespace

QString VXMessageDraft::keyForParty(const QString &party)
{
    return partyPrefix + VXConversationKey(party);
}

QString VXMessageDraft::keyForNew(const QString &receivers)
{
    if (receivers.isEmpty() && !read(formerKey).text.isEmpty())
        return formerKey;
    const QString wanted = VXConversationKey(receivers);
    for (const QString &key : VXUserDefaults::standardUserDefaults().keysWithPrefix(newPrefix)) {
        if (receivers.isEmpty() || VXConversationKey(read(key).receivers) == wanted)
            return key;
    }
    return unusedKey();
}

QString VXMessageDraft::unusedKey()
{
    const QStringList used = VXUserDefaults::standardUserDefaults().keysWithPrefix(newPrefix);
    int number = 1;
    while (used.contains(newPrefix + QString::number(number)))
        ++number;
    return newPrefix + QString::number(number);
}

VXMessageDraft VXMessageDraft::read(const QString &key)
{
    const QVariant kept = VXUserDefaults::standardUserDefaults().objectForKey(key);
    const QVariantMap values = kept.toMap();
    if (values.isEmpty())
        return {.text = kept.toString()};
    return {.text = values.value(textKey).toString(),
            .receivers = values.value(receiversKey).toString(),
            .typed = values.value(typedKey).toString()};
}

void VXMessageDraft::keep(const QString &key) const
{
    QVariant kept;
    if (!receivers.isEmpty() || !typed.isEmpty()) {
        QVariantMap values{{textKey, text}, {receiversKey, receivers}, {typedKey, typed}};
        values.removeIf([](const auto &each) { return each.value().toString().isEmpty(); });
        kept = values;
    } else if (!text.isEmpty()) // the text alone, as it has always been kept for conversations
        kept = text;
    VXUserDefaults::standardUserDefaults().setObject(kept, key);
}
