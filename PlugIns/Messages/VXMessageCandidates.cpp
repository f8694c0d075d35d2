#include "VXMessageCandidates.h"

#include "VXConversationKey.h"
#include "VXPhonebookRecord.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString keyOfParts(int direction, const QString &conversation, const QString &text)
{
    return QString::number(direction) + conversation + u'\n' + text;
}

} // namespace

VXMessageCandidates::Subject::Subject(const VXMessageRecord &message)
    : record(message), conversation(VXConversationKey(message.otherParty())),
      key(keyOfParts(static_cast<int>(message.direction), conversation, message.text))
{
}

// Each fetch reads a range of an index. Unknown dates, here or there, are rare.
bool VXMessageCandidates::read(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error)
{
    QVariantList conversations;
    QSet<QString> known;
    bool hasUndated = false;
    bool hasNobody = false;
    QDateTime first;
    QDateTime last;
    for (const Subject &subject : subjects) {
        const QDateTime &date = subject.record.date;
        hasNobody = hasNobody || subject.conversation.isNull();
        if (!subject.conversation.isNull() && !known.contains(subject.conversation)) {
            known.insert(subject.conversation);
            conversations.append(subject.conversation);
        }
        hasUndated = hasUndated || !date.isValid();
        if (date.isValid() && (!first.isValid() || date < first))
            first = date;
        if (date.isValid() && (!last.isValid() || date > last))
            last = date;
    }
    const auto read = [&](const QString &condition, const QVariantList &arguments) {
        return (conversations.isEmpty() || fetch("conversation IN %@ AND "_L1 + condition,
                                                 QVariantList{QVariant(conversations)} + arguments, context, error)) &&
               (!hasNobody || fetch("conversation == NULL AND "_L1 + condition, arguments, context, error));
    };
    const qint64 span = VXMessageMatch::spanOf(VXMessageMatch::Rule::SentHere);
    return (!first.isValid() ||
            read(u"date >= %@ AND date <= %@"_s, {first.toUTC().addMSecs(-span), last.toUTC().addMSecs(span)})) &&
           read(u"date == NULL"_s, {}) && (!hasUndated || read(u"state == 2 AND url == NULL"_s, {})) &&
           readAtPlaces(subjects, context, error);
}

// Nothing is stored at the place of a new message. In other cases the date was unknown, or the message was saved
// without its conversation.
bool VXMessageCandidates::readAtPlaces(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error)
{
    QVariantList urls;
    for (const Subject &subject : subjects) {
        const auto [first, last] = _known.equal_range(subject.key);
        const auto isThere = [&](const Known &known) {
            return known.url == subject.record.url && VXMessageMatch::isNear(subject.record.date, known.date);
        };
        if (!subject.record.url.isNull() && std::none_of(first, last, isThere))
            urls.append(subject.record.url);
    }
    return urls.isEmpty() || fetch(u"url IN %@"_s, {QVariant(urls)}, context, error);
}

bool VXMessageCandidates::fetch(const QString &condition, const QVariantList &arguments,
                                VXManagedObjectContext &context, VXError *error)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(condition, arguments);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &message : *found) {
        if (_read.contains(message->objectID()))
            continue;
        _read.insert(message->objectID());
        const auto text = [&](const QString &key) { return message->valueForKey(key).toString(); };
        _known.insert(keyOfParts(message->valueForKey(u"direction"_s).toInt(),
                                 conversationOf(VXPhonebookRecord::otherParty(*message)), text(u"text"_s)),
                      {message, message->valueForKey(u"date"_s).toDateTime(), text(u"url"_s)});
    }
    return true;
}

// The stored value may be missing. Most messages of a slice are of few parties.
QString VXMessageCandidates::conversationOf(const QString &party)
{
    const auto known = _conversations.constFind(party);
    return known != _conversations.cend() ? *known : *_conversations.insert(party, VXConversationKey(party));
}

void VXMessageCandidates::add(const VXManagedObjectPtr &message, const Subject &subject)
{
    _known.insert(subject.key, {message, subject.record.date, subject.record.url});
}

VXManagedObjectPtr VXMessageCandidates::atPlaceOf(const Subject &subject, const Check &mayBe) const
{
    if (subject.record.url.isNull()) // its place is unknown
        return {};
    for (auto known = _known.find(subject.key); known != _known.end() && known.key() == subject.key; ++known) {
        if (known->url == subject.record.url && VXMessageMatch::isNear(subject.record.date, known->date) &&
            mayBe(*known))
            return known->message;
    }
    return {};
}

VXManagedObjectPtr VXMessageCandidates::nearest(const Subject &subject, VXMessageMatch::Rule rule,
                                                const Check &mayBe) const
{
    VXManagedObjectPtr nearest;
    qint64 shortest = 0;
    for (auto known = _known.find(subject.key); known != _known.end() && known.key() == subject.key; ++known) {
        const std::optional<qint64> apart = VXMessageMatch::distance(subject.record, *known->message, rule);
        if (!apart || (nearest && *apart >= shortest) || !mayBe(*known))
            continue;
        nearest = known->message;
        shortest = *apart;
    }
    return nearest;
}
