#include "VXContactCompletion.h"

#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookManager.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

using Kind = VXContactWords::Kind;
using Operator = VXPredicate::Operator;

namespace {

constexpr qsizetype smallestPage = 20; // words
constexpr qsizetype largestPage = 1000;

// The first data after everything with that beginning: no byte of UTF-8 is 0xff.
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

bool beginsOneOf(const QString &beginning, const QStringList &words)
{
    return std::ranges::any_of(words, [&](const QString &word) { return word.startsWith(beginning); });
}

// Whether the key of one of its words begins so: a zero is behind each.
bool hasWord(const QString &text, Kind kind, const QString &beginning)
{
    return std::ranges::any_of(VXContactWords::wordsOf(text, kind), [&beginning](const QString &word) {
        return QString(word + QChar(u'\0')).startsWith(beginning);
    });
}

// Found by such a word, a contact is offered with all it has.
bool isOfPerson(Kind kind)
{
    return kind == Kind::Name || kind == Kind::Company || kind == Kind::Other;
}

// Compares "key" of the words with a beginning, or of a person's words. A single comparison, so that the index is
// searched once.
VXPredicate begins(const QString &keyPath, const QString &beginning, VXPredicate::Modifier modifier)
{
    const QByteArray from = beginning.toUtf8();
    // No key equals the upper bound, which lacks the zero and the kind.
    return VXPredicate::comparison(VXExpression::keyPath(keyPath), Operator::Between,
                                   VXExpression::constant(QVariantList{from, endOfBeginning(from)}), {}, modifier);
}

// True for a key that begins like the typed word, in one of the ways in which that is looked for.
VXPredicate isFor(const QString &word, const QString &keyPath, VXPredicate::Modifier modifier)
{
    QList<VXPredicate> any;
    for (const QString &beginning : VXContactWords::beginnings(word))
        any.append(begins(keyPath, beginning, modifier));
    return any.size() == 1 ? any.constFirst() : VXPredicate::anyOf(any);
}

// True for a person who has words for everything that was typed.
VXPredicate hasWords(const QStringList &typed)
{
    QList<VXPredicate> all;
    for (const QString &word : typed)
        all.append(isFor(word, u"person.words.key"_s, VXPredicate::Modifier::Any));
    return VXPredicate::allOf(all);
}

} // namespace

QStringList VXContactCompletion::complete(const QString &typed, VXError *error)
{
    QStringList words = VXContactWords::typedWords(typed);
    if (words.isEmpty() || !findGroups(words, error))
        return _found;
    const qsizetype rarest = words.size() == 1 ? 0 : rarestOf(words, error);
    if (rarest < 0)
        return _found;
    const QString leading = words.takeAt(rarest);
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

// There are few groups, so all of them are checked.
bool VXContactCompletion::findGroups(const QStringList &typed, VXError *error)
{
    if ((_mask & VXPhonebookPropertyGroup) == 0)
        return true;
    VXFetchRequest request(*_context.persistentStoreCoordinator()->model().entityForName(u"VXGroup"_s));
    request.sortDescriptors = {{.key = u"name"_s}};
    const std::optional<VXFetchResult> groups = _context.executeFetchRequest(request, error);
    if (!groups)
        return false;
    for (const VXManagedObjectPtr &group : *groups) {
        const QStringList words = VXContactWords::wordsOf(VXPhonebookEntry::displayString(*group), Kind::Name);
        if (std::ranges::all_of(typed, [&](const QString &each) { return beginsOneOf(each, words); }))
            _groups.append({group, words});
    }
    return true;
}

QList<VXContactCompletion::Group> VXContactCompletion::groupsOf(const QString &beginning) const
{
    QList<Group> groups;
    for (const Group &group : _groups) {
        QByteArray first;
        for (const QString &word : group.words) {
            const QByteArray bytes = word.toUtf8();
            if (word.startsWith(beginning) && (first.isNull() || bytes < first))
                first = bytes;
        }
        if (!first.isNull())
            groups.append({group.group, group.words, first});
    }
    std::ranges::stable_sort(groups, {}, &Group::first);
    return groups;
}

bool VXContactCompletion::addGroup(const VXManagedObject &group, VXError *error)
{
    const QList<VXManagedObjectPtr> persons = related(group, u"members"_s);
    Owned numbers;
    Owned emails;
    for (qsizetype from = 0; from < persons.size(); from += largestPage) {
        const QList<VXManagedObjectPtr> page = persons.mid(from, largestPage);
        if (!readOwned(u"VXPhoneNumber"_s, page, &numbers, error) ||
            !readOwned(u"VXEmailAddress"_s, page, &emails, error))
            return false;
    }
    QStringList members; // of each, the first number or else the first address
    for (const VXManagedObjectPtr &person : persons) {
        const auto &owned = numbers.contains(person->objectID()) ? numbers : emails;
        const QList<VXManagedObjectPtr> all = owned.value(person->objectID());
        if (!all.isEmpty())
            members.append(VXPhonebookEntry::phonebookString(**std::ranges::min_element(all, {}, numberOf)));
    }
    members.sort(Qt::CaseInsensitive);
    if (!members.isEmpty())
        add(VXPhonebookGroupJoin(VXPhonebookEntry::displayString(group), members));
    return true;
}

// The index of the word that leads to the fewest contacts; -1 on failure.
qsizetype VXContactCompletion::rarestOf(const QStringList &words, VXError *error) const
{
    qsizetype rarest = -1;
    qsizetype fewest = 0;
    for (qsizetype at = 0; at < words.size(); ++at) {
        qsizetype count = 0;
        for (const QString &beginning : VXContactWords::beginnings(words[at])) {
            VXFetchRequest request(*_context.persistentStoreCoordinator()->model().entityForName(u"VXSearchWord"_s));
            request.predicate = begins(u"key"_s, beginning, VXPredicate::Modifier::Direct);
            request.includesPendingChanges = false;
            const std::optional<qsizetype> counted = _context.countForFetchRequest(request, error);
            if (!counted)
                return -1;
            count += *counted;
        }
        if (rarest < 0 || count < fewest) {
            rarest = at;
            fewest = count;
        }
    }
    return rarest;
}

bool VXContactCompletion::walk(const QString &beginning, const QStringList &others, VXError *error)
{
    const QList<Group> groups = groupsOf(beginning);
    auto group = groups.cbegin();
    // A member that is found by the group's name comes behind the group.
    const auto addGroupsBefore = [&](const Match *match) { // null: all that are left
        const bool isBehind = match != nullptr && match->kinds == QSet<Kind>{Kind::Other};
        for (; !isFull() && group != groups.cend() &&
               (match == nullptr || group->first < match->word || (isBehind && group->first == match->word));
             ++group) {
            if (!addGroup(*group->group, error))
                return false;
        }
        return true;
    };
    qsizetype size = std::clamp<qsizetype>(2 * qsizetype(_limit), smallestPage, largestPage);
    qsizetype offset = 0;
    for (bool isLast = false; !isLast && !isFull();) {
        QList<Match> matches;
        Owned numbers;
        Owned emails;
        if (!readPage(beginning, others, offset, size, &matches, &isLast, error))
            return false;
        offset += size;
        size = std::min(2 * size, largestPage);
        QList<VXManagedObjectPtr> persons;
        std::ranges::transform(matches, std::back_inserter(persons), &Match::person);
        if (!others.isEmpty() && !noteNamed(&matches, others, error))
            return false;
        if (((_mask & VXPhonebookPropertyNumber) != 0 && !readOwned(u"VXPhoneNumber"_s, persons, &numbers, error)) ||
            ((_mask & VXPhonebookPropertyEmail) != 0 && !readOwned(u"VXEmailAddress"_s, persons, &emails, error)))
            return false;
        for (const Match &match : std::as_const(matches)) {
            if (!addGroupsBefore(&match))
                return false;
            addMatch(match, beginning, numbers, emails);
        }
    }
    return addGroupsBefore(nullptr);
}

bool VXContactCompletion::readPage(const QString &beginning, const QStringList &others, qsizetype offset,
                                   qsizetype size, QList<Match> *matches, bool *isLast, VXError *error) const
{
    const VXEntityDescription &entity =
        *_context.persistentStoreCoordinator()->model().entityForName(u"VXSearchWord"_s);
    VXFetchRequest request(entity);
    request.predicate = begins(u"key"_s, beginning, VXPredicate::Modifier::Direct);
    if (!others.isEmpty())
        request.predicate = VXPredicate::allOf({request.predicate, hasWords(others)});
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
        const QByteArray bytes = word->attribute(key).toByteArray();
        const auto place = places.constFind(person->objectID());
        const qsizetype at = place == places.constEnd() ? matches->size() : *place;
        if (place == places.constEnd()) {
            places.insert(person->objectID(), at);
            matches->append(Match{.person = person, .kinds = {}, .word = bytes.first(bytes.indexOf('\0'))});
        }
        Match &match = (*matches)[at];
        match.kinds.insert(VXContactWords::kindOf(bytes));
        match.isNamed = match.isNamed || isOfPerson(VXContactWords::kindOf(bytes));
    }
    return true;
}

bool VXContactCompletion::noteNamed(QList<Match> *matches, const QStringList &others, VXError *error) const
{
    QHash<VXManagedObjectID, Match *> unnamed;
    QVariantList persons;
    for (Match &match : *matches) {
        if (match.isNamed)
            continue;
        unnamed.insert(match.person->objectID(), &match);
        persons.append(QVariant::fromValue(match.person->objectID()));
    }
    if (unnamed.isEmpty())
        return true;
    QList<VXPredicate> any;
    for (const QString &word : others)
        any.append(isFor(word, u"key"_s, VXPredicate::Modifier::Direct));
    const VXEntityDescription &entity =
        *_context.persistentStoreCoordinator()->model().entityForName(u"VXSearchWord"_s);
    VXFetchRequest request(entity);
    request.predicate =
        VXPredicate::allOf({VXPredicate::comparison(u"person"_s, Operator::In, persons), VXPredicate::anyOf(any)});
    request.includesPendingChanges = false;
    const std::optional<VXFetchResult> words = _context.executeFetchRequest(request, error);
    if (!words)
        return false;
    const int key = entity.propertyForName(u"key"_s)->index();
    const int owner = entity.propertyForName(u"person"_s)->index();
    for (const VXManagedObjectPtr &word : *words) {
        const VXManagedObjectID *const person = word->relatedID(owner);
        if (person != nullptr && isOfPerson(VXContactWords::kindOf(word->attribute(key).toByteArray())))
            unnamed.value(*person)->isNamed = true;
    }
    return true;
}

bool VXContactCompletion::readOwned(const QString &entityName, const QList<VXManagedObjectPtr> &persons, Owned *owned,
                                    VXError *error) const
{
    QVariantList owners;
    for (const VXManagedObjectPtr &each : persons)
        owners.append(QVariant::fromValue(each->objectID()));
    const VXEntityDescription &entity = *_context.persistentStoreCoordinator()->model().entityForName(entityName);
    VXFetchRequest request(entity);
    request.predicate = VXPredicate::comparison(u"person"_s, Operator::In, owners);
    request.includesPendingChanges = false;
    request.prefetchedRelationships = {u"person"_s};
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

// Found by a number or address alone, it is offered with that.
void VXContactCompletion::addMatch(const Match &match, const QString &beginning, const Owned &numbers,
                                   const Owned &emails)
{
    const auto addAll = [&](const Owned &owned, const QString &key, Kind kind) {
        QList<VXManagedObjectPtr> all = owned.value(match.person->objectID());
        std::ranges::sort(all, {}, numberOf);
        for (const VXManagedObjectPtr &each : std::as_const(all)) {
            if (match.isNamed || hasWord(each->valueForKey(key).toString(), kind, beginning))
                add(VXPhonebookEntry::phonebookString(*each));
        }
    };
    addAll(numbers, u"number"_s, Kind::Number);
    addAll(emails, u"address"_s, Kind::Email);
}
