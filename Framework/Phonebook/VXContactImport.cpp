#include "VXContactImport.h"

#include "VXContactGroupImport.h"
#include "VXContactMatch.h"
#include "VXContactWriter.h"
#include "VXErrorDomain.h"
#include "VXManagedObjectContext.h"
#include "VXStoreWorkLock.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

using Outcome = VXImportedContact::Outcome;

namespace {

constexpr qsizetype portion = 500;             // contacts of one save
constexpr qsizetype largestPortion = 32 << 20; // octets of their pictures

size_t hashOf(const QString &uid)
{
    return qHash(uid, 0);
}

} // namespace

VXContactImport::VXContactImport(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &title)
    : _coordinator(coordinator), _title(title), _groups(std::make_unique<VXContactGroupImport>())
{
}

VXContactImport::~VXContactImport() = default;

std::optional<VXContactImportReport> VXContactImport::run(VXCardReader &reader, VXError *error)
{
    const bool isDone = runFrom([&reader] { return reader.next(); }, error);
    _report.problems += reader.problems();
    return isDone ? std::optional(_report) : std::nullopt;
}

std::optional<VXContactImportReport> VXContactImport::run(const QList<VXContactRecord> &contacts, VXError *error)
{
    qsizetype next = 0;
    const Source source = [&]() -> std::optional<VXCard> {
        if (next >= contacts.size())
            return std::nullopt;
        const VXContactRecord &contact = contacts[next++];
        return VXCard{.contact = contact, .line = 0, .problems = {}, .isContact = !contact.displayName().isEmpty()};
    };
    return runFrom(source, error) ? std::optional(_report) : std::nullopt;
}

bool VXContactImport::runFrom(const Source &source, VXError *error)
{
    if (_isDryRun) {
        _dryContext = std::make_unique<VXManagedObjectContext>(_coordinator);
        _dryMatch = std::make_unique<VXContactMatch>(*_dryContext);
        return importAll(source, error);
    }
    const VXStoreWorkLock lock(*_coordinator, VXStoreWorkLock::syncName);
    return lock.isHeld(error) && importAll(source, error);
}

bool VXContactImport::importAll(const Source &source, VXError *error)
{
    QList<VXCard> cards;
    qsizetype size = 0;
    while (std::optional<VXCard> card = source()) {
        _report.problems += card->problems;
        if (card->members) {
            _groups->addGroup(*card);
            continue;
        }
        if (!card->isContact) {
            count({Outcome::LeftOut, card->contact.displayName(), card->line});
            continue;
        }
        card->contact.uid = card->contact.uid.trimmed(); // as it is kept
        size += card->contact.image.size();
        cards.append(*std::move(card));
        if (cards.size() < portion && size < largestPortion)
            continue;
        if (!importPortion(cards, error))
            return false;
        cards.clear();
        size = 0;
    }
    return (cards.isEmpty() || importPortion(cards, error)) && (_groups->isEmpty() || importGroups(error));
}

bool VXContactImport::importPortion(const QList<VXCard> &cards, VXError *error)
{
    if (_isCancelled && _isCancelled()) {
        VXSetError(error, VXError(VXErrorDomain, VXErrorCancelled));
        return false;
    }
    VXManagedObjectContext context(_coordinator);
    VXContactMatch own(context);
    VXContactMatch &match = _isDryRun ? *_dryMatch : own;
    VXContactWriter writer(context);
    QList<VXContactRecord> contacts;
    std::ranges::transform(cards, std::back_inserter(contacts), &VXCard::contact);
    if (!match.prepare(contacts, error) || !beginChangeSet(context, error))
        return false;
    for (const VXContactRecord &contact : std::as_const(contacts)) {
        const size_t uid = hashOf(contact.uid);
        if (!contact.uid.isEmpty() && !_metBy.contains(uid))
            _metBy.insert(uid, uid); // the one with that UID is its, whatever comes before it
    }
    if (_changeSet)
        writer.setChangeSet(_changeSet->number, _changeSet->date);
    QList<VXImportedContact> imported;
    for (const VXCard &card : cards)
        imported.append(importContact(card, match, writer, context));
    const auto isSame = [](const VXImportedContact &each) { return each.outcome == Outcome::Same; };
    if (!save(context, !std::ranges::all_of(imported, isSame), error))
        return false;
    for (const VXImportedContact &each : std::as_const(imported))
        count(each);
    return true;
}

bool VXContactImport::importGroups(VXError *error)
{
    VXManagedObjectContext context(_coordinator);
    if (!beginChangeSet(context, error))
        return false;
    const auto outcomes = _groups->run(context, _changeSet, &_report.problems, error);
    if (!outcomes || !save(context, outcomes->count(Outcome::Same) < outcomes->size(), error))
        return false;
    for (qsizetype index = 0; index < outcomes->size(); ++index) {
        const VXCard &group = _groups->groups()[index];
        count({outcomes->at(index), group.contact.displayName(), group.line});
    }
    return true;
}

// Two cards with UIDs of their own are two contacts, even with one name and number.
bool VXContactImport::mayBe(const VXContactRecord &contact, const VXContactRecord &known) const
{
    const size_t card = hashOf(contact.uid);
    return contact.uid.isEmpty() || known.uid.isEmpty() || _metBy.value(hashOf(known.uid), card) == card;
}

void VXContactImport::didMeet(const VXContactRecord &contact, const VXContactRecord &known)
{
    if (contact.uid.isEmpty() || known.uid.isEmpty())
        return;
    _metBy.insert(hashOf(known.uid), hashOf(contact.uid));
    if (contact.uid != known.uid)
        _groups->addAlias(contact.uid, known.uid);
}

VXImportedContact VXContactImport::importContact(const VXCard &card, VXContactMatch &match, VXContactWriter &writer,
                                                 VXManagedObjectContext &context)
{
    const VXContactRecord &contact = card.contact;
    VXImportedContact imported{Outcome::Added, contact.displayName(), card.line};
    const VXKnownContact *const found =
        match.find(contact, [&](const VXContactRecord &known) { return mayBe(contact, known); });
    if (found == nullptr) {
        VXKnownContact added{nullptr, VXStorableContact(contact)};
        if (added.contact.uid.isEmpty())
            added.contact.uid = VXNewContactUID();
        if (_isDryRun)
            added.contact.image.clear();
        else
            added.person = writer.insert(added.contact);
        match.add(added);
        return imported;
    }
    const VXKnownContact known = *found;
    didMeet(contact, known.contact);
    const VXContactRecord before = VXStorableContact(known.contact);
    // Of one that was merged into it the user has seen what counts.
    const bool wasMerged = known.contact.uid != contact.uid && known.contact.formerUIDs().contains(contact.uid);
    const VXContactRecord both =
        VXUnitedContact(before, contact, wasMerged ? VXContactPrecedence::Known : VXContactPrecedence::News);
    imported.outcome = VXIsSameContact(before, both) ? Outcome::Same : Outcome::Changed;
    imported.replaced = VXReplacedValues(before, both);
    if (imported.outcome == Outcome::Same)
        return imported;
    if (known.person && !_isDryRun) {
        VXContactHistory::note(context, *_changeSet, known.person, false);
        writer.replace(known.person, both);
    }
    match.add({known.person, both});
    return imported;
}

void VXContactImport::count(const VXImportedContact &contact)
{
    qsizetype *const counts[] = {&_report.added, &_report.changed, &_report.same, &_report.leftOut};
    ++*counts[static_cast<size_t>(contact.outcome)];
    if (contact.outcome != Outcome::Same)
        _report.contacts.append(contact);
}

// The change set is saved with the first changes: dropping the oldest one touches persons that may be among those.
bool VXContactImport::beginChangeSet(VXManagedObjectContext &context, VXError *error)
{
    if (!_isDryRun && !_changeSet)
        _changeSet = VXContactHistory::insert(context, u"import"_s, _title, error);
    return _isDryRun || _changeSet;
}

bool VXContactImport::save(VXManagedObjectContext &context, bool isChanged, VXError *error)
{
    if (_isDryRun)
        return true;
    if (!isChanged) {
        if (!_isSaved)
            _changeSet.reset();
        return true;
    }
    _isSaved = context.save(error);
    return _isSaved;
}
