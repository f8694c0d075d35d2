#include "VXContactImport.h"

#include "VXContactGroupImport.h"
#include "VXContactMatch.h"
#include "VXContactWriter.h"
#include "VXErrorDomain.h"
#include "VXFileLock.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"

#include <QtCore/QFileInfo>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Outcome = VXImportedContact::Outcome;

namespace {

constexpr qsizetype portion = 500;             // contacts of one save
constexpr qsizetype largestPortion = 32 << 20; // octets of their pictures
constexpr std::chrono::milliseconds longestWait = 30s;

size_t hashOf(const QString &uid)
{
    return qHash(uid, 0);
}

// Two at once would each find that a contact is not there. Null where nothing is to be locked: the store is no file.
std::unique_ptr<VXFileLock> lockOf(const VXPersistentStoreCoordinator &coordinator)
{
    const QString path = coordinator.persistentStores().constFirst()->path();
    return path.isEmpty() ? nullptr
                          : std::make_unique<VXFileLock>(QFileInfo(path).path() + "/import.lock"_L1, longestWait);
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
    const std::unique_ptr<VXFileLock> lock = lockOf(*_coordinator);
    if (lock && !lock->isHeld()) {
        VXSetError(error,
                   VXMakeError(lock->isTimedOut() ? VXLocalizedString(u"Another program is importing contacts."_s)
                                                  : lock->reason()));
        return false;
    }
    return importAll(source, error);
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
        size += card->contact.image.size();
        cards.append(*std::move(card));
        if (cards.size() < portion && size < largestPortion)
            continue;
        if (!importPortion(cards, error))
            return false;
        cards.clear();
        size = 0;
    }
    if ((!cards.isEmpty() && !importPortion(cards, error)) || (!_groups->isEmpty() && !importGroups(error)))
        return false;
    const bool isNothing = _changeSet && _report.added == 0 && _report.changed == 0;
    return !isNothing || VXContactHistory(_coordinator).forget(*_changeSet, error);
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
    if (!match.prepare(contacts, error) || (!_isDryRun && !beginChangeSet(error)))
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
    if (!_isDryRun && context.hasChanges() && !context.save(error))
        return false;
    for (const VXImportedContact &each : std::as_const(imported))
        count(each);
    return true;
}

bool VXContactImport::importGroups(VXError *error)
{
    if (!_isDryRun && !beginChangeSet(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    const auto outcomes = _groups->run(context, _changeSet, &_report.problems, error);
    if (!outcomes || (context.hasChanges() && !context.save(error)))
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
    const VXContactRecord both = VXUnitedContact(before, contact, VXContactPrecedence::News);
    imported.outcome = VXIsSameContact(before, both) ? Outcome::Same : Outcome::Changed;
    imported.replaced = VXReplacedValues(before, both);
    if (imported.outcome == Outcome::Same)
        return imported;
    if (known.person && !_isDryRun) {
        if (!known.person->isInserted() && !known.person->isUpdated())
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

// Only the first portion that may change something makes one.
bool VXContactImport::beginChangeSet(VXError *error)
{
    if (!_changeSet)
        _changeSet = VXContactHistory(_coordinator).begin(u"import"_s, _title, error);
    return _changeSet.has_value();
}
