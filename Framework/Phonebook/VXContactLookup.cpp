#include "VXContactLookup.h"

#include "VXAddressScore.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhoneNumber.h"
#include "VXTextComparison.h"

#include <QtCore/QSet>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString personKey = u"person"_s;

QString folded(const QString &text)
{
    return VXFoldedText(text, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
}

// 0 for an entry without a person.
qint64 personOf(const VXContactCandidate &candidate)
{
    const VXManagedObject &entry = *candidate.entry;
    const VXManagedObjectID *const person = entry.relatedID(entry.entity().propertyForName(personKey)->index());
    return person == nullptr ? 0 : person->number();
}

VXContactCandidate candidateFor(const VXManagedObjectPtr &entry, const VXAddressTraits &lookedUp)
{
    VXContactCandidate candidate{entry};
    const QString key = entry->entity().name() == "VXPhoneNumber"_L1 ? u"number"_s : u"address"_s;
    const VXAddressTraits kept(VXPhonebookEntry::displayString(*entry), entry->valueForKey(key).toString(),
                               entry->valueForKey(u"type"_s).toUInt());
    const auto known = VXPhonebookEntry::informativeValue(*entry);
    candidate.score = VXAddressScore(lookedUp, kept, double(known), &candidate.reasons);
    return candidate;
}

} // namespace

QList<VXContactCandidate> VXContactLookup::forPhoneNumber(const QString &number, unsigned type, const QString &nameHint,
                                                          VXError *error) const
{
    return find(u"VXPhoneNumber"_s, VXPhoneNumberLookUpString(number), {nameHint, number, type}, error);
}

QList<VXContactCandidate> VXContactLookup::forEmailAddress(const QString &address, unsigned type,
                                                           const QString &nameHint, VXError *error) const
{
    return find(u"VXEmailAddress"_s, address.toLower(), {nameHint, address, type}, error);
}

VXManagedObjectPtr VXContactLookup::forName(const QString &name, VXError *error) const
{
    const QList<VXManagedObjectPtr> all = allForName(name, error);
    const auto best = std::ranges::max_element(
        all, {}, [](const VXManagedObjectPtr &person) { return VXPhonebookEntry::informativeValue(*person); });
    return best == all.cend() ? VXManagedObjectPtr() : *best;
}

// Uses the index of sort names: for the shown name "jane doe" that is "doe jane", or the same.
QList<VXManagedObjectPtr> VXContactLookup::allForName(const QString &name, VXError *error) const
{
    const QString wanted = folded(name.simplified());
    const VXEntityDescription *const entity =
        _context.persistentStoreCoordinator()->model().entityForName(u"VXPerson"_s);
    QList<VXManagedObjectPtr> persons;
    if (wanted.isEmpty() || entity == nullptr)
        return persons;
    QStringList sortNames{wanted};
    for (qsizetype blank = wanted.indexOf(u' '); blank >= 0; blank = wanted.indexOf(u' ', blank + 1))
        sortNames.append(wanted.sliced(blank + 1) + u' ' + wanted.first(blank));
    VXFetchRequest request(*entity);
    request.predicate =
        VXPredicate::comparison(VXExpression::keyPath(u"sort_name"_s), VXPredicate::Operator::In,
                                VXExpression::constant(QVariantList(sortNames.cbegin(), sortNames.cend())));
    request.includesPendingChanges = false;
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    for (qsizetype index = 0; found && index < found->size(); ++index) {
        if (folded(VXPhonebookEntry::displayString(*found->at(index)).simplified()) == wanted)
            persons.append(found->at(index));
    }
    return persons;
}

VXManagedObjectPtr VXContactLookup::best(const QList<VXContactCandidate> &candidates)
{
    return candidates.isEmpty() ? VXManagedObjectPtr() : candidates.constFirst().entry;
}

// Reads, with as many statements for thousands as for two, what names and scores take.
std::optional<VXFetchResult> VXContactLookup::readPersons(const VXFetchResult &entries, VXError *error) const
{
    const VXEntityDescription &entity = *_context.persistentStoreCoordinator()->model().entityForName(u"VXPerson"_s);
    QSet<VXManagedObjectPtr> persons;
    for (const VXManagedObjectPtr &entry : entries) {
        if (const auto person = entry->related(entry->entity().propertyForName(personKey)->index()))
            persons.insert(person);
    }
    QVariantList objectIDs;
    for (const VXManagedObjectPtr &person : std::as_const(persons))
        objectIDs.append(QVariant::fromValue(person->objectID()));
    for (const QString &counted : {u"numbers"_s, u"emails"_s, u"groups"_s}) {
        if (!_context.readRelated(persons.values(), *entity.relationshipForName(counted), error))
            return std::nullopt;
    }
    VXFetchRequest request(entity);
    request.predicate =
        VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In, VXExpression::constant(objectIDs));
    request.includesPendingChanges = false;
    return _context.executeFetchRequest(request, error);
}

// Scores are computed only if there are several candidates, as that takes queries.
QList<VXContactCandidate> VXContactLookup::find(const QString &entityName, const QString &search,
                                                const VXAddressTraits &lookedUp, VXError *error) const
{
    const VXEntityDescription *const entity = _context.persistentStoreCoordinator()->model().entityForName(entityName);
    if (search.isEmpty() || entity == nullptr)
        return {};
    VXFetchRequest request(*entity);
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"search"_s), VXPredicate::Operator::Equal,
                                                VXExpression::constant(search));
    request.includesPendingChanges = false; // the context may hold copies of entries from other plugins
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found || found->isEmpty())
        return {};
    if (found->size() == 1)
        return {{found->first(), 0, {u"the only one"_s}}};
    const std::optional<VXFetchResult> persons = readPersons(*found, error); // kept until the scores are computed
    if (!persons)
        return {};
    QList<VXContactCandidate> candidates;
    for (const VXManagedObjectPtr &entry : *found)
        candidates.append(candidateFor(entry, lookedUp));
    std::ranges::stable_sort(candidates, [](const VXContactCandidate &a, const VXContactCandidate &b) {
        return a.score != b.score ? a.score > b.score : personOf(a) < personOf(b);
    });
    return candidates;
}
