#include "VXPartyNames.h"

#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXSearchEntries.h"
#include "VXSearchQuery.h"
#include "VXSQLiteConnection.h"
#include "VXWrittenNumber.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

QList<VXPartyNames::Candidate> VXPartyNames::candidatesFor(const QString &key)
{
    QList<Candidate> candidates;
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT title, known, parties FROM address CROSS JOIN entry ON entry.id = address.entry WHERE key = ?1 "
        "AND address.entry >= ?2 ORDER BY length(entry.name), entry.name"_s, // "p9_...", "p10_..."
        nullptr);
    if (!statement)
        return candidates;
    statement.bindText(1, key);
    statement.bindNumber(2, VXSearchEntries::firstContact);
    while (statement.step() == VXSQLiteStatement::Step::Row) {
        const QString name = statement.text(0);
        const auto known = double(statement.number(1));
        const qsizetype before = candidates.size();
        for (const VXFoundParty &own : VXSearchQuery::partiesIn(statement.text(2))) {
            if (VXSearchEntries::keyOf(own.address) == key)
                candidates.append({name, {name, own.address, own.type}, known});
        }
        if (candidates.size() == before) // other plugins may not tell these
            candidates.append({name, {name, {}, 0}, known});
    }
    return candidates;
}

QString VXPartyNames::contactOf(const VXFoundParty &party)
{
    const QString key = VXSearchEntries::keyOf(party.address);
    if (key.isEmpty())
        return {};
    auto known = _candidates.constFind(key);
    if (known == _candidates.cend())
        known = _candidates.insert(key, candidatesFor(key));
    if (known->size() <= 1)
        return known->isEmpty() ? QString() : known->constFirst().name;
    const VXAddressTraits lookedUp(party.name, party.address, party.type);
    const auto best = std::ranges::max_element(*known, {}, [&](const Candidate &each) { // the first of equal ones
        return VXAddressScore(lookedUp, each.traits, each.known);
    });
    return best->name;
}

QString VXPartyNames::nameOf(const VXFoundParty &party)
{
    const bool isNumber = VXIsNumberAsWritten(party.address);
    if (isNumber || party.address.contains(u'@')) {
        if (const QString name = contactOf(party); !name.isEmpty())
            return name;
    }
    if (!party.name.isEmpty())
        return party.name;
    return isNumber ? VXFormatPhoneNumber(VXWrittenNumber::in(party.address).number) : party.address;
}

void VXPartyNames::nameParties(VXFoundObject *object)
{
    if (object->parties.isEmpty())
        return;
    QStringList names;
    for (const VXFoundParty &party : std::as_const(object->parties))
        names.append(nameOf(party));
    object->title = names.join(", "_L1);
}
