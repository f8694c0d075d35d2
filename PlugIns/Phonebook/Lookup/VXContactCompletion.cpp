#include "VXContactCompletion.h"

#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookManager.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Kind = VXContactWords::Kind;
using Operator = VXPredicate::Operator;

namespace {

constexpr qsizetype smallestPage = 20; // words
constexpr qsizetype largestPage = 1000;

VXPredicate compare(const QString &key, Operator comparison, const QVariant &value)
{
    return VXPredicate::comparison(VXExpression::keyPath(key), comparison, VXExpression::constant(value));
}

// The first data behind all that begin so: UTF-8 has no octet 0xff.
QByteArray endOfBeginning(QByteArray beginning)
{
    ++beginning.back();
    return beginning;
}

QList<VXManagedObjectPtr> related(const VXManagedObject &object, const QString &relationship)
{
    return object.relatedObjects(object.entity().propertyForName(relationship)->index());
}

qint64 numberOf(const VXManagedObjectPtr &object)
{
    return object->objectID().number();
}

// The first number, or else address, of each.
QStringList membersOf(const VXManagedObject &group)
{
    QStringList members;
    for (const VXManagedObjectPtr &person : related(group, u"members"_s)) {
        QList<VXManagedObjectPtr> owned = related(*person, u"numbers"_s);
        if (owned.isEmpty())
            owned = related(*person, u"emails"_s);
        if (!owned.isEmpty())
            members.append(VXPhonebookEntry::phonebookString(**std::ranges::min_element(owned, {}, numberOf)));
    }
    members.sort(Qt::CaseInsensitive);
    return members;
}

bool beginsOneOf(const QString &beginning, const QStringList &words)
{
    return std::ranges::any_of(words, [&](const QString &word) { return word.startsWith(beginning); });
}

bool hasWord(const QSet<QByteArray> &keys, const QString &typed)
{
    return std::ranges::any_of(VXContactWords::beginnings(typed), [&](const QString &beginning) {
        const QByteArray octets = beginning.toUtf8();
        return std::ranges::any_of(keys, [&](const QByteArray &key) { return key.startsWith(octets); });
    });
}

} // namespace

QStringList VXContactCompletion::complete(const QString &typed, VXError *error)
{
    QStringList words = VXContactWords::typedWords(typed);
    if (words.isEmpty() || !addGroups(words, error))
        return _found;
    // The longest word leads to the fewest contacts.
    const auto longest = std::ranges::max_element(words, {}, [](const QString &word) { return word.size(); });
    const QString leading = *longest;
    words.erase(longest);
    for (const QString &beginning : VXContactWords::beginnings(leading)) {
        if (!walk(beginning, words, error))
            break;
    }
    return _found;
}

void VXContactCompletion::add(const QString &text)
{
    if (isFull() || text.isEmpty() || _known.contains(text))
        return;
    _known.insert(text);
    _found.append(text);
}

// There are few of them: all are looked at.
bool VXContactCompletion::addGroups(const QStringList &typed, VXError *error)
{
    if ((_mask & VXPhonebookPropertyGroup) == 0)
        return true;
    VXFetchRequest request(*_context.persistentStoreCoordinator()->model().entityForName(u"VXGroup"_s));
    request.sortDescriptors = {{.key = u"name"_s}};
    const std::optional<VXFetchResult> groups = _context.executeFetchRequest(request, error);
    if (!groups)
        return false;
    for (const VXManagedObjectPtr &group : *groups) {
        const QString name = VXPhonebookEntry::displayString(*group);
        const QStringList words = VXContactWords::wordsOf(name, Kind::Name);
        if (isFull() || !std::ranges::all_of(typed, [&](const QString &each) { return beginsOneOf(each, words); }))
            continue;
        if (const QStringList members = membersOf(*group); !members.isEmpty())
            add(VXPhonebookGroupJoin(name, members));
    }
    return true;
}

bool VXContactCompletion::walk(const QString &beginning, const QStringList &others, VXError *error)
{
    qsizetype size = std::clamp<qsizetype>(2 * qsizetype(_limit), smallestPage, largestPage);
    qsizetype offset = 0;
    for (bool isLast = false; !isLast && !isFull();) {
        QList<Match> matches;
        Owned numbers;
        Owned emails;
        if (!readPage(beginning, offset, size, &matches, &isLast, error))
            return false;
        offset += size;
        size = std::min(2 * size, largestPage);
        if (!others.isEmpty()) {
            matches.removeIf([&](const Match &match) {
                const QSet<QByteArray> keys = VXContactWords::keysOf(*match.person);
                return !std::ranges::all_of(others, [&](const QString &each) { return hasWord(keys, each); });
            });
        }
        if (((_mask & VXPhonebookPropertyNumber) != 0 && !readOwned(u"VXPhoneNumber"_s, matches, &numbers, error)) ||
            ((_mask & VXPhonebookPropertyEmail) != 0 && !readOwned(u"VXEmailAddress"_s, matches, &emails, error)))
            return false;
        for (const Match &match : std::as_const(matches))
            addMatch(match, beginning, numbers, emails);
    }
    return true;
}

bool VXContactCompletion::readPage(const QString &beginning, qsizetype offset, qsizetype size, QList<Match> *matches,
                                   bool *isLast, VXError *error) const
{
    const VXEntityDescription &entity =
        *_context.persistentStoreCoordinator()->model().entityForName(u"VXSearchWord"_s);
    const QByteArray from = beginning.toUtf8();
    VXFetchRequest request(entity);
    request.predicate = VXPredicate::allOf(
        {compare(u"key"_s, Operator::GreaterOrEqual, from), compare(u"key"_s, Operator::Less, endOfBeginning(from))});
    request.sortDescriptors = {{.key = u"key"_s}};
    request.offset = offset;
    request.limit = size;
    request.includesPendingChanges = false;
    request.prefetchedRelationships = {u"person"_s};
    const std::optional<VXFetchResult> words = _context.executeFetchRequest(request, error);
    if (!words)
        return false;
    *isLast = words->size() < size;
    const int key = entity.propertyForName(u"key"_s)->index();
    const int owner = entity.propertyForName(u"person"_s)->index();
    QHash<VXManagedObjectID, qsizetype> places;
    for (const VXManagedObjectPtr &word : *words) {
        const VXManagedObjectPtr person = word->related(owner);
        if (!person)
            continue;
        const auto place = places.constFind(person->objectID());
        const qsizetype at = place == places.constEnd() ? matches->size() : *place;
        if (place == places.constEnd()) {
            places.insert(person->objectID(), at);
            matches->append(Match{person, {}});
        }
        (*matches)[at].kinds.insert(VXContactWords::kindOf(word->attribute(key).toByteArray()));
    }
    return true;
}

bool VXContactCompletion::readOwned(const QString &entityName, const QList<Match> &matches, Owned *owned,
                                    VXError *error) const
{
    QVariantList persons;
    for (const Match &match : matches)
        persons.append(QVariant::fromValue(match.person->objectID()));
    const VXEntityDescription &entity = *_context.persistentStoreCoordinator()->model().entityForName(entityName);
    VXFetchRequest request(entity);
    request.predicate = compare(u"person"_s, Operator::In, persons);
    request.includesPendingChanges = false;
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found)
        return false;
    const int person = entity.propertyForName(u"person"_s)->index();
    for (const VXManagedObjectPtr &each : *found) {
        if (const VXManagedObjectPtr owner = each->related(person))
            (*owned)[owner->objectID()].append(each);
    }
    return true;
}

// Found by its name or company, a contact is offered with all it has; found by a number or address alone, with that.
void VXContactCompletion::addMatch(const Match &match, const QString &beginning, const Owned &numbers,
                                   const Owned &emails)
{
    const bool isNamed = match.kinds.contains(Kind::Name) || match.kinds.contains(Kind::Company);
    const auto addAll = [&](const Owned &owned, const QString &key, Kind kind) {
        QList<VXManagedObjectPtr> all = owned.value(match.person->objectID());
        std::ranges::sort(all, {}, numberOf);
        for (const VXManagedObjectPtr &each : std::as_const(all)) {
            if (isNamed || beginsOneOf(beginning, VXContactWords::wordsOf(each->valueForKey(key).toString(), kind)))
                add(VXPhonebookEntry::phonebookString(*each));
        }
    };
    addAll(numbers, u"number"_s, Kind::Number);
    addAll(emails, u"address"_s, Kind::Email);
}
