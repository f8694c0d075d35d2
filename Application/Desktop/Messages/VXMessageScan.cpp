#include "VXMessageScan.h"

#include "MessageDataConstants.h"
#include "VXMessageStore.h"
#include "VXPartySearch.h"
#include "VXPhoneNumber.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;

constexpr qsizetype firstStretch = 1'000; // to be shown at once
constexpr qsizetype laterStretch = 10'000;
constexpr qsizetype mostKept = 500; // per stretch; if more was found, it is searched again

VXPredicate compare(const QString &key, Operator comparison, const QVariant &value, VXTextOptions options = {})
{
    return VXPredicate::comparison(VXExpression::keyPath(key), comparison, VXExpression::constant(value), options);
}

VXFetchRequest newestFirst(const VXManagedObjectContext &context, const QList<VXPredicate> &conditions)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = VXPredicate::allOf(conditions);
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    return request;
}

qint64 timeOf(const VXManagedObjectPtr &message)
{
    const QDateTime date = message->valueForKey(u"date"_s).toDateTime();
    return date.isValid() ? date.toMSecsSinceEpoch() : std::numeric_limits<qint64>::min();
}

QString conversationOf(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"conversation"_s).toString();
}

// By the names that they have now.
QSet<QString> partiesMeantBy(const QString &text)
{
    const QStringList parties = VXPartiesMeantBy(text);
    return {parties.cbegin(), parties.cend()};
}

VXPredicate isWithOneOf(const QSet<QString> &parties)
{
    return compare(u"conversation"_s, Operator::In, QVariantList(parties.cbegin(), parties.cend()));
}

} // namespace

VXPredicate VXMessageScan::Stretch::dates() const
{
    if (isDateless)
        return compare(u"date"_s, Operator::Equal, {});
    QList<VXPredicate> bounds;
    if (before)
        bounds.append(compare(u"date"_s, Operator::Less, *before));
    if (oldest)
        bounds.append(compare(u"date"_s, Operator::GreaterOrEqual, *oldest));
    return bounds.isEmpty() ? compare(u"date"_s, Operator::NotEqual, {}) : VXPredicate::allOf(bounds);
}

void VXMessageScan::begin(VXManagedObjectContext &context, const QList<VXPredicate> &conditions, const QString &text,
                          Finds finds)
{
    _context = &context;
    _words = wordsOf(text);
    _finds = finds;
    _known.clear();
    if (_parts.size() != conditions.size())
        _parts = QList<Part>(conditions.size());
    for (qsizetype i = 0; i < conditions.size(); ++i) {
        _parts[i].condition = conditions[i];
        _parts[i].next = 0;
        _parts[i].newest = std::numeric_limits<qint64>::max();
    }
}

VXMessageScan::Words VXMessageScan::wordsOf(const QString &text)
{
    Words words{.parties = partiesMeantBy(text)};
    const QStringList typed = VXTypedWords(text);
    for (const QString &word : typed)
        words.words.append({.text = word,
                            .number = VXIsNumberAsWritten(word) ? VXPhoneNumberLookUpString(word) : QString(),
                            .parties = typed.size() == 1 ? words.parties : partiesMeantBy(word)});
    return words;
}

bool VXMessageScan::Words::Word::isWithin(const Word &other) const
{
    const bool isNumberWithin =
        number.isEmpty() || number.contains(other.text) || (!other.number.isEmpty() && number.contains(other.number));
    return text.contains(other.text) && isNumberWithin && other.parties.contains(parties);
}

bool VXMessageScan::Words::areWithin(const Words &other) const
{
    return other.parties.contains(parties) && std::ranges::all_of(other.words, [this](const Word &had) {
               return std::ranges::any_of(words, [&had](const Word &word) { return word.isWithin(had); });
           });
}

VXPredicate VXMessageScan::Words::predicate() const
{
    const VXTextOptions anyWriting = VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive;
    QList<VXPredicate> all;
    for (const Word &word : words)
        all.append(VXPredicate::anyOf({compare(u"text"_s, Operator::Contains, word.text, anyWriting),
                                       VXWasRecordedWith(word.text), isWithOneOf(word.parties)}));
    return words.size() == 1 ? all.constFirst() : VXPredicate::anyOf({VXPredicate::allOf(all), isWithOneOf(parties)});
}

// Nothing of the context remains.
void VXMessageScan::end()
{
    _context = nullptr;
    _held.clear();
    for (Part &part : _parts)
        part.condition = {};
}

bool VXMessageScan::isAtEnd() const
{
    return _held.isEmpty() && std::ranges::all_of(_parts, &Part::isDone);
}

// The part to be searched next; nullptr if there is none.
VXMessageScan::Part *VXMessageScan::newestPart()
{
    Part *newest = nullptr;
    for (Part &part : _parts) {
        if (!part.isDone() && (newest == nullptr || part.newest > newest->newest))
            newest = &part;
    }
    return newest;
}

std::optional<QList<VXManagedObjectPtr>> VXMessageScan::next(VXError *error)
{
    if (Part *const part = newestPart()) {
        const auto found = look(*part, error);
        if (!found)
            return std::nullopt;
        _held += *found;
    }
    const Part *const part = newestPart();
    return takeFrom(part == nullptr ? std::numeric_limits<qint64>::min() : part->newest);
}

VXMessageScan::Messages VXMessageScan::takeFrom(qint64 newest)
{
    std::ranges::stable_sort(_held, std::ranges::greater(), timeOf);
    Messages taken;
    while (!_held.isEmpty() && timeOf(_held.constFirst()) >= newest) {
        const VXManagedObjectPtr message = _held.takeFirst();
        if (_finds == Finds::Conversations) {
            const QString conversation = conversationOf(message);
            if (_known.contains(conversation))
                continue;
            _known.insert(conversation);
        }
        taken.append(message);
    }
    return taken;
}

std::optional<VXMessageScan::Messages> VXMessageScan::look(Part &part, VXError *error)
{
    if (part.next == part.stretches.size() && !addStretch(part, error))
        return std::nullopt;
    Stretch &stretch = part.stretches[part.next++];
    part.newest = stretch.oldest ? stretch.oldest->toMSecsSinceEpoch() : std::numeric_limits<qint64>::min();
    bool isComplete = true;
    const bool isNarrower = stretch.found && _words.areWithin(stretch.words); // among which it is found
    const auto found = isNarrower ? lookAmongFound(stretch, error) : lookAmongAll(part, stretch, &isComplete, error);
    stretch.found.reset();
    if (found && isComplete) {
        stretch.words = _words;
        stretch.found.emplace();
        for (const VXManagedObjectPtr &message : *found)
            stretch.found->append(message->objectID());
    }
    return found;
}

std::optional<VXMessageScan::Messages> VXMessageScan::lookAmongFound(const Stretch &stretch, VXError *error) const
{
    if (stretch.found->isEmpty())
        return Messages();
    QVariantList among;
    for (const VXManagedObjectID &each : *stretch.found)
        among.append(QVariant::fromValue(each));
    return fetch({VXPredicate::comparison(VXExpression::self(), Operator::In, VXExpression::constant(among)),
                  _words.predicate()},
                 0, error);
}

// If there are many hits, only as many conversations as wanted are returned: not every hit has to become an object.
std::optional<VXMessageScan::Messages> VXMessageScan::lookAmongAll(const Part &part, const Stretch &stretch,
                                                                   bool *isComplete, VXError *error) const
{
    QList<VXPredicate> conditions{part.condition, stretch.dates(),
                                  compare(u"pending"_s, Operator::NotEqual, int(VXPendingChange::Remove)),
                                  _words.predicate()};
    auto found = fetch(conditions, mostKept, error);
    *isComplete = found && found->size() < mostKept;
    if (!found || *isComplete)
        return found;
    if (_finds == Finds::Messages)
        return fetch(conditions, 0, error);
    QSet<QString> known = _known;
    for (const VXManagedObjectPtr &message : std::as_const(*found))
        known.insert(conversationOf(message));
    conditions.append(
        VXPredicate::negationOf(compare(u"conversation"_s, Operator::In, QVariantList(known.cbegin(), known.cend()))));
    const auto rest = fetch(conditions, 0, error);
    return rest ? std::optional(*found + *rest) : std::nullopt;
}

std::optional<VXMessageScan::Messages> VXMessageScan::fetch(const QList<VXPredicate> &conditions, qsizetype limit,
                                                            VXError *error) const
{
    VXFetchRequest request = newestFirst(*_context, conditions);
    request.limit = limit;
    const auto found = _context->executeFetchRequest(request, error);
    return found ? std::optional(Messages(found->begin(), found->end())) : std::nullopt;
}

// Its length comes from the index of dates alone, whatever will be found in it.
bool VXMessageScan::addStretch(Part &part, VXError *error)
{
    Stretch added;
    if (!part.stretches.isEmpty()) {
        added.before = part.stretches.constLast().oldest;
        added.isDateless = !added.before;
    }
    if (!added.isDateless) {
        VXFetchRequest request = newestFirst(*_context, {part.condition, added.dates()});
        request.offset = (part.stretches.isEmpty() ? firstStretch : laterStretch) - 1;
        request.limit = 1;
        const auto last = _context->executeFetchRequest(request, error);
        if (!last)
            return false;
        if (!last->isEmpty())
            added.oldest = last->first()->valueForKey(u"date"_s).toDateTime();
    }
    part.stretches.append(added);
    return true;
}
