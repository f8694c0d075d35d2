#include "VXContactImport.h"

#include "VXContactMatch.h"
#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

using Outcome = VXImportedContact::Outcome;

namespace {

constexpr qsizetype portion = 500;             // contacts of one save
constexpr qsizetype largestPortion = 32 << 20; // octets of their pictures

} // namespace

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
    QList<VXCard> cards;
    qsizetype size = 0;
    while (std::optional<VXCard> card = source()) {
        _report.problems += card->problems;
        if (!card->isContact) {
            count(*card, Outcome::LeftOut);
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
    if (!cards.isEmpty() && !importPortion(cards, error))
        return false;
    const bool isNothing = _changeSet && _report.added == 0 && _report.changed == 0;
    return !isNothing || VXContactHistory(_coordinator).forget(*_changeSet, error);
}

bool VXContactImport::importPortion(const QList<VXCard> &cards, VXError *error)
{
    VXManagedObjectContext context(_coordinator);
    VXContactMatch match(context);
    VXContactWriter writer(context);
    QList<VXContactRecord> contacts;
    std::ranges::transform(cards, std::back_inserter(contacts), &VXCard::contact);
    if (!match.prepare(contacts, error) || (!_isDryRun && !beginChangeSet(error)))
        return false;
    for (const VXContactRecord &contact : std::as_const(_wouldBeThere))
        match.add({nullptr, contact});
    if (_changeSet)
        writer.setChangeSet(_changeSet->number, _changeSet->date);
    QList<Outcome> outcomes;
    for (const VXCard &card : cards)
        outcomes.append(importContact(card.contact, match, writer, context));
    if (!_isDryRun && context.hasChanges() && !context.save(error))
        return false;
    for (qsizetype index = 0; index < cards.size(); ++index)
        count(cards[index], outcomes[index]);
    return true;
}

Outcome VXContactImport::importContact(const VXContactRecord &contact, VXContactMatch &match, VXContactWriter &writer,
                                       VXManagedObjectContext &context)
{
    const VXKnownContact *const found = match.find(contact);
    if (found == nullptr) {
        VXKnownContact added{nullptr, VXStorableContact(contact)};
        if (_isDryRun) {
            added.contact.image.clear();
            _wouldBeThere.append(added.contact);
        } else {
            added.person = writer.insert(contact);
        }
        match.add(added);
        return Outcome::Added;
    }
    const VXKnownContact known = *found;
    const VXContactRecord both = VXUnitedContact(known.contact, contact, VXContactPrecedence::News);
    if (VXIsSameContact(VXStorableContact(known.contact), both))
        return Outcome::Same;
    if (known.person && !_isDryRun) {
        if (!known.person->isInserted() && !known.person->isUpdated())
            VXContactHistory::note(context, *_changeSet, known.person, false);
        writer.replace(known.person, both);
    }
    match.add({known.person, both});
    return Outcome::Changed;
}

void VXContactImport::count(const VXCard &card, Outcome outcome)
{
    qsizetype *const counts[] = {&_report.added, &_report.changed, &_report.same, &_report.leftOut};
    ++*counts[static_cast<size_t>(outcome)];
    if (outcome != Outcome::Same)
        _report.contacts.append({outcome, card.contact.displayName(), card.line});
}

// Only the first portion that may change something makes one.
bool VXContactImport::beginChangeSet(VXError *error)
{
    if (!_changeSet)
        _changeSet = VXContactHistory(_coordinator).begin(u"import"_s, _title, error);
    return _changeSet.has_value();
}
