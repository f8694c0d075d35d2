#include "VXMessageCandidates.h"

#include "VXConversationKey.h"
#include "VXPhonebookRecord.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype numbersAtOnce = 1000;

VXPredicate isOneOf(const QString &key, const QVariantList &values)
{
    return VXPredicate::comparison(VXExpression::keyPath(key), VXPredicate::Operator::In,
                                   VXExpression::constant(values));
}

VXFetchRequest requestFor(const VXPredicate &condition, const VXManagedObjectContext &context)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = condition;
    return request;
}

/** Texts, each once, perhaps with none among them. */
class Values
{
public:
    void add(const QString &text)
    {
        _hasNone = _hasNone || text.isNull();
        if (!text.isNull() && !_known.contains(text)) {
            _known.insert(text);
            _texts.append(text);
        }
    }
    /** One of these holds for whatever has one of the texts. */
    QList<VXPredicate> conditions(const QString &key) const
    {
        QList<VXPredicate> made;
        if (!_texts.isEmpty())
            made.append(isOneOf(key, _texts));
        if (_hasNone)
            made.append(*VXPredicate::predicateWithFormat(u"%K == NULL"_s, {key}));
        return made;
    }

private:
    QSet<QString> _known;
    QVariantList _texts;
    bool _hasNone = false;
};

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

// Nothing is stored at the place of a new message.
bool VXMessageCandidates::readAtPlaces(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error)
{
    QVariantList urls;
    for (const Subject &subject : subjects) {
        if (!subject.record.url.isNull())
            urls.append(subject.record.url);
    }
    return urls.isEmpty() || fetch(isOneOf(u"url"_s, urls), context, error);
}

// Each look-up goes through a range of an index, for numbers alone. Unknown dates, here or there, are rare with an honest phone;
// another may have all its messages of one date.
bool VXMessageCandidates::read(const QList<Subject> &subjects, const NumberCheck &isAnother,
                               VXManagedObjectContext &context, VXError *error)
{
    Values conversations;
    Values texts;
    bool hasUndated = false;
    QDateTime first;
    QDateTime last;
    for (const Subject &subject : subjects) {
        const QDateTime &date = subject.record.date;
        conversations.add(subject.conversation);
        texts.add(subject.record.text);
        if (subject.record.text.isEmpty())
            texts.add({}); // which is the same
        hasUndated = hasUndated || !date.isValid();
        if (date.isValid() && (!first.isValid() || date < first))
            first = date;
        if (date.isValid() && (!last.isValid() || date > last))
            last = date;
    }
    QVariantList others;
    const auto look = [&](const QString &condition, const QVariantList &arguments = {}) {
        return std::ranges::all_of(conversations.conditions(u"conversation"_s), [&](const VXPredicate &isOfThose) {
            VXFetchRequest request = requestFor(
                VXPredicate::allOf({isOfThose, *VXPredicate::predicateWithFormat(condition, arguments)}), context);
            request.includesPropertyValues = false;
            request.batchSize = numbersAtOnce;
            const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
            for (qsizetype index = 0; found && index < found->size(); ++index) {
                if (const VXManagedObjectID objectID = found->at(index)->objectID(); !isAnother(objectID.number()))
                    others.append(QVariant::fromValue(objectID));
            }
            return found.has_value();
        });
    };
    const qint64 span = VXMessageMatch::spanOf(VXMessageMatch::Rule::SentHere);
    if ((first.isValid() &&
         !look(u"date >= %@ AND date <= %@"_s, {first.toUTC().addMSecs(-span), last.toUTC().addMSecs(span)})) ||
        !look(u"date == NULL"_s) || (hasUndated && !look(u"state == 2 AND url == NULL"_s)))
        return false;
    const VXPredicate isOther =
        VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In, VXExpression::constant(others));
    return others.isEmpty() ||
           fetch(VXPredicate::allOf({isOther, VXPredicate::anyOf(texts.conditions(u"text"_s))}), context, error);
}

bool VXMessageCandidates::fetch(const VXPredicate &condition, VXManagedObjectContext &context, VXError *error)
{
    const std::optional<VXFetchResult> found = context.executeFetchRequest(requestFor(condition, context), error);
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
