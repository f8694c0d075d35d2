#include "VXContactImport.h"

#include "VXCardsAhead.h"
#include "VXContactGroupImport.h"
#include "VXContactMatch.h"
#include "VXContactName.h"
#include "VXContactWriter.h"
#include "VXErrorDomain.h"
#include "VXManagedObjectContext.h"
#include "VXStoreWorkLock.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

using Outcome = VXImportedContact::Outcome;

namespace {

constexpr qsizetype portion = 5000;            // contacts per save, each of which rewrites most pages of the indexes
constexpr qsizetype largestPortion = 32 << 20; // octets of their cards

size_t hashOf(const QString &uid)
{
    return qHash(uid, 0);
}

// Identifies a known contact in _metBy.
size_t keyOf(const VXKnownContact &known)
{
    return known.contact.uid.isEmpty() && known.person ? qHash(known.person->objectID(), 2) : hashOf(known.contact.uid);
}

// A quick first check, as many contacts may share a name and number.
bool isQuiteLike(const VXContactRecord &contact, const VXContactRecord &known)
{
    return contact.note.trimmed() == known.note.trimmed() && contact.company.trimmed() == known.company.trimmed() &&
           contact.numbers.size() == known.numbers.size() && contact.emails.size() == known.emails.size();
}

bool haveInCommon(const QStringList &some, const QStringList &others)
{
    return std::ranges::any_of(some, [&](const QString &each) { return others.contains(each); });
}

// Tells persons with one UID apart: some programs give all contacts the same one.
bool isOtherPerson(const VXContactRecord &contact, const VXContactRecord &known)
{
    const bool isNamed = !VXContactName::textOf(contact).isEmpty();
    if (!isNamed && VXContactName::textOf(known).isEmpty())
        return VXContactNameKey(contact) != VXContactNameKey(known);
    return !VXContactName::saysAllOf(contact, known) && !VXContactName::saysAllOf(known, contact);
}

// Only the UID speaks for the same person: somebody who changes a name keeps a part of it, a number or an address.
bool isPlainlyOtherPerson(const VXContactRecord &contact, const VXContactRecord &known)
{
    return isOtherPerson(contact, known) &&
           !haveInCommon(VXContactNameKey(contact).split(u' '), VXContactNameKey(known).split(u' ')) &&
           !haveInCommon(VXContactAddressKeys(contact), VXContactAddressKeys(known));
}

} // namespace

VXContactImport::VXContactImport(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &title)
    : _coordinator(coordinator), _title(title), _groups(std::make_unique<VXContactGroupImport>())
{
}

VXContactImport::~VXContactImport() = default;

std::optional<VXContactImportReport> VXContactImport::run(VXCardReader &reader, VXError *error)
{
    bool isDone = false;
    {
        VXCardsAhead cards(reader);
        isDone = runFrom([&cards] { return cards.next(); }, error);
    }
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
        card->contact.uid = card->contact.uid.trimmed(); // the form in which it is stored
        size += card->size;
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
    std::optional<VXStoreWorkLock> saving;
    if (!_isDryRun && !saving.emplace(*_coordinator, VXStoreWorkLock::savingName).isHeld(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    VXContactMatch own(context);
    VXContactMatch &match = _isDryRun ? *_dryMatch : own;
    VXContactWriter writer(context);
    QList<VXContactRecord> contacts;
    std::ranges::transform(cards, std::back_inserter(contacts), &VXCard::contact);
    QList<VXContactKeys> keys;
    std::ranges::transform(contacts, std::back_inserter(keys), [](const auto &each) { return VXContactKeys(each); });
    if (!match.prepare(keys, error) || !beginChangeSet(context, error))
        return false;
    noteUIDs(contacts);
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

void VXContactImport::noteUIDs(const QList<VXContactRecord> &contacts)
{
    QHash<size_t, const VXContactRecord *> firsts;
    for (const VXContactRecord &contact : contacts) {
        const size_t uid = hashOf(contact.uid);
        if (contact.uid.isEmpty())
            continue;
        if (!_metBy.contains(uid))
            _metBy.insert(uid, uid); // reserves the contact with that UID for this card, whichever cards come before
        const VXContactRecord *&first = firsts[uid];
        if (first == nullptr)
            first = &contact;
        else if (isOtherPerson(VXStorableContact(contact), VXStorableContact(*first)))
            _doubtfulUIDs.insert(uid);
    }
}

bool VXContactImport::importGroups(VXError *error)
{
    std::optional<VXStoreWorkLock> saving;
    if (!_isDryRun && !saving.emplace(*_coordinator, VXStoreWorkLock::savingName).isHeld(error))
        return false;
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

// Two cards are two contacts even with the same name and number: only a card with the same values is the same contact.
// A repeated import finds for each card the contact that it added, or changed, the last time.
int VXContactImport::likeness(const VXContactRecord &contact, size_t card, const VXKnownContact &known) const
{
    const bool isTaken = _metBy.value(keyOf(known), card) != card;
    const bool areTwo = !contact.uid.isEmpty() && !known.contact.uid.isEmpty();
    if (isTaken && (areTwo || !isQuiteLike(contact, known.contact)))
        return 0;
    const VXContactRecord here = VXStorableContact(known.contact);
    VXContactRecord there = VXStorableContact(contact);
    there.uid = here.uid;
    const VXContactRecord both = VXUnitedContact(here, contact, VXContactPrecedence::News);
    const bool isNoNews = VXIsSameContact(here, both);
    if (isNoNews && VXIsSameContact(there, VXUnitedContact(there, here, VXContactPrecedence::News)))
        return 4;
    return isTaken ? 0 : isNoNews ? 3 : VXReplacedValues(here, both).isEmpty() ? 2 : 1;
}

// If the contact was merged, or the card was written by this program, the UID identifies it for certain.
bool VXContactImport::isUIDOfOther(const VXContactRecord &contact, const VXKnownContact &known) const
{
    const size_t uid = hashOf(contact.uid);
    const VXContactRecord here = VXStorableContact(contact);
    const VXContactRecord there = VXStorableContact(known.contact);
    if (_uids.contains(uid) || _doubtfulUIDs.contains(uid))
        return isOtherPerson(here, there);
    return here.uid == there.uid && isPlainlyOtherPerson(here, there);
}

void VXContactImport::didMeet(const VXContactRecord &contact, size_t card, const VXKnownContact &known)
{
    _metBy.insert(keyOf(known), card);
    if (!contact.uid.isEmpty() && !known.contact.uid.isEmpty() && contact.uid != known.contact.uid)
        _groups->addAlias(contact.uid, known.contact.uid);
}

VXImportedContact VXContactImport::importContact(const VXCard &card, VXContactMatch &match, VXContactWriter &writer,
                                                 VXManagedObjectContext &context)
{
    VXContactRecord contact = card.contact;
    VXImportedContact imported{Outcome::Added, contact.displayName(), card.line};
    const auto find = [&](size_t number) {
        return match.find(VXContactKeys(contact),
                          [&](const VXKnownContact &known) { return likeness(contact, number, known); });
    };
    const bool isAgain = !contact.uid.isEmpty() && _uids.contains(hashOf(contact.uid));
    size_t number = contact.uid.isEmpty() ? qHash(++_cardCount, 1) : hashOf(contact.uid);
    const VXKnownContact *found = find(number);
    if (found != nullptr && !contact.uid.isEmpty() && isUIDOfOther(contact, *found)) {
        _report.problems.append({card.line, isAgain ? u"the UID is that of another card too, and not counted"_s
                                                    : u"the UID is that of another contact, and not counted"_s});
        contact.uid.clear();
        number = qHash(++_cardCount, 1);
        found = find(number);
    }
    if (!contact.uid.isEmpty())
        _uids.insert(number);
    if (found == nullptr) {
        VXKnownContact added{nullptr, VXStorableContact(contact)};
        if (added.contact.uid.isEmpty())
            added.contact.uid = VXNewContactUID();
        if (_isDryRun)
            added.contact.image.clear();
        else
            added.person = writer.insert(added.contact);
        match.add(added);
        _metBy.insert(keyOf(added), number);
        return imported;
    }
    const VXKnownContact known = *found;
    didMeet(contact, number, known);
    const VXContactRecord before = VXStorableContact(known.contact);
    // If the card's contact was merged into another, the user has chosen the values then.
    const bool wasMerged = known.contact.uid != contact.uid && known.contact.formerUIDs().contains(contact.uid);
    const bool isFurther = isAgain && !contact.uid.isEmpty(); // otherwise cards would change the contact back and forth
    const VXContactRecord both = VXUnitedContact(
        before, contact, wasMerged || isFurther ? VXContactPrecedence::Known : VXContactPrecedence::News);
    imported.outcome = VXIsSameContact(before, both) ? Outcome::Same : Outcome::Changed;
    imported.replaced = VXReplacedValues(before, both);
    if (imported.outcome == Outcome::Same)
        return imported;
    if (known.person && !_isDryRun) {
        VXContactHistory::note(context, *_changeSet, known.person, false);
        writer.replace(known.person, both);
    }
    match.add({known.person, both});
    _metBy.insert(hashOf(both.uid), number);
    return imported;
}

void VXContactImport::count(const VXImportedContact &contact)
{
    qsizetype *const counts[] = {&_report.added, &_report.changed, &_report.same, &_report.leftOut};
    ++*counts[static_cast<size_t>(contact.outcome)];
    if (contact.outcome != Outcome::Same)
        _report.contacts.append(contact);
}

// The change set is saved with the first changes, before others: dropping the oldest set modifies persons that may be
// among those.
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
