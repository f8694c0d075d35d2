#include "VXContactLookup.h"

#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhoneNumber.h"
#include "VXTextComparison.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Outweighs whatever else is known of a contact.
constexpr double otherCountry = -1e7;
constexpr double sameName = 1e6;
constexpr double sameCountry = 5e5;
constexpr double sameType = 1e5;

QString folded(const QString &text)
{
    return VXFoldedText(text, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
}

// Search strings leave out the country, which tells numbers apart if both have one.
void compareCountries(VXContactCandidate &candidate, const QString &abroad)
{
    const QString own = abroad.isNull() || candidate.entry->entity().name() != "VXPhoneNumber"_L1
                            ? QString()
                            : VXPhoneNumberInternationalDigits(candidate.entry->valueForKey(u"number"_s).toString());
    if (own.isNull())
        return;
    candidate.score += own == abroad ? sameCountry : otherCountry;
    candidate.reasons.append(own == abroad ? u"has the number with its country"_s
                                           : u"has the number in another country"_s);
}

VXContactCandidate candidateFor(const VXManagedObjectPtr &entry, const QString &abroad, unsigned type,
                                const QString &nameHint)
{
    VXContactCandidate candidate{entry, VXPhonebookEntry::informativeValue(*entry)};
    compareCountries(candidate, abroad);
    if (!nameHint.isEmpty() && folded(VXPhonebookEntry::displayString(*entry)) == folded(nameHint)) {
        candidate.score += sameName;
        candidate.reasons.append(u"has the name that was given"_s);
    }
    if (type != 0 && entry->valueForKey(u"type"_s).toUInt() == type) {
        candidate.score += sameType;
        candidate.reasons.append(u"has the type that was given"_s);
    }
    const auto known = VXPhonebookEntry::informativeValue(*entry);
    candidate.reasons.append(known > 0 ? u"%1 for what is known of the contact"_s.arg(double(known))
                                       : u"nothing more is known of it"_s);
    return candidate;
}

} // namespace

QList<VXContactCandidate> VXContactLookup::forPhoneNumber(const QString &number, unsigned type, const QString &nameHint,
                                                          VXError *error) const
{
    const QString dialled = VXPhoneNumberWithoutTrunkZero(number);
    return find(u"VXPhoneNumber"_s, VXPhoneNumberSearchString(dialled), VXPhoneNumberInternationalDigits(dialled), type,
                nameHint, error);
}

QList<VXContactCandidate> VXContactLookup::forEmailAddress(const QString &address, unsigned type,
                                                           const QString &nameHint, VXError *error) const
{
    return find(u"VXEmailAddress"_s, address.toLower(), {}, type, nameHint, error);
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

// Scores are computed only if there are several candidates, as that takes queries.
QList<VXContactCandidate> VXContactLookup::find(const QString &entityName, const QString &search, const QString &abroad,
                                                unsigned type, const QString &nameHint, VXError *error) const
{
    const VXEntityDescription *const entity = _context.persistentStoreCoordinator()->model().entityForName(entityName);
    if (search.isEmpty() || entity == nullptr)
        return {};
    VXFetchRequest request(*entity);
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"search"_s), VXPredicate::Operator::Equal,
                                                VXExpression::constant(search));
    request.includesPendingChanges = false; // the context may hold copies of entries from other plugins
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    QList<VXContactCandidate> candidates;
    if (!found)
        return candidates;
    if (found->size() == 1)
        return {{found->first(), 0, {u"the only one"_s}}};
    for (const VXManagedObjectPtr &entry : *found)
        candidates.append(candidateFor(entry, abroad, type, nameHint));
    std::ranges::stable_sort(candidates, std::ranges::greater(), &VXContactCandidate::score);
    return candidates;
}
