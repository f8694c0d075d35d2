#include "VXMessageCandidates.h"

#include "VXConversationKey.h"

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

// Each fetch is a piece of an index. Dates that are unknown, here or there, are rare.
bool VXMessageCandidates::read(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error)
{
    QVariantList conversations;
    QVariantList undated; // urls
    QSet<QString> known;
    bool hasNobody = false;
    QDateTime first;
    QDateTime last;
    for (const Subject &subject : subjects) {
        const VXMessageRecord &record = subject.record;
        hasNobody = hasNobody || subject.conversation.isNull();
        if (!subject.conversation.isNull() && !known.contains(subject.conversation)) {
            known.insert(subject.conversation);
            conversations.append(subject.conversation);
        }
        if (!record.date.isValid() && !record.url.isNull())
            undated.append(record.url);
        if (record.date.isValid() && (!first.isValid() || record.date < first))
            first = record.date;
        if (record.date.isValid() && (!last.isValid() || record.date > last))
            last = record.date;
    }
    const auto read = [&](const QString &condition, const QVariantList &arguments) {
        return (conversations.isEmpty() || fetch("conversation IN %@ AND "_L1 + condition,
                                                 QVariantList{QVariant(conversations)} + arguments, context, error)) &&
               (!hasNobody || fetch("conversation == NULL AND "_L1 + condition, arguments, context, error));
    };
    const qint64 span = VXMessageMatch::spanOf(VXMessageMatch::Rule::SentHere);
    return (!first.isValid() ||
            read(u"date >= %@ AND date <= %@"_s, {first.toUTC().addMSecs(-span), last.toUTC().addMSecs(span)})) &&
           read(u"date == NULL"_s, {}) &&
           (undated.isEmpty() ||
            (fetch(u"url IN %@"_s, {QVariant(undated)}, context, error) && read(u"state == 2 AND url == NULL"_s, {})));
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
        _known.insert(
            keyOfParts(message->valueForKey(u"direction"_s).toInt(), text(u"conversation"_s), text(u"text"_s)),
            {message, message->valueForKey(u"date"_s).toDateTime(), text(u"url"_s)});
    }
    return true;
}

void VXMessageCandidates::add(const VXManagedObjectPtr &message, const Subject &subject)
{
    _known.insert(subject.key, {message, subject.record.date, subject.record.url});
}

VXManagedObjectPtr VXMessageCandidates::atPlaceOf(const Subject &subject, const Check &mayBe) const
{
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
