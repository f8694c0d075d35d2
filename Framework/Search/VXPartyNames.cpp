#include "VXPartyNames.h"

#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXSearchEntries.h"
#include "VXSearchTerms.h"
#include "VXSQLiteConnection.h"

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 mostCandidates = 100;

// How well a contact with these words stands for an address, as look-ups go by it: of a number its country first, then what is known of it.
double scoreOf(const QString &text, qint64 known, const QString &address, const QString &key)
{
    constexpr double sameCountry = 1e6;
    const QString abroad =
        address.contains(u'@') ? QString() : VXPhoneNumberInternationalDigits(VXPhoneNumberWithoutTrunkZero(address));
    const QStringList lines = text.split(u'\n');
    double score = double(known);
    for (const QString &line : lines) {
        if (abroad.isNull() || !VXIsValidPhoneNumber(line) || VXSearchEntries::keyOf(line) != key)
            continue;
        if (const QString own = VXPhoneNumberInternationalDigits(line); !own.isNull())
            score += own == abroad ? sameCountry : -sameCountry;
    }
    return score;
}

} // namespace

// As the contact is called that stands for it best.
QString VXPartyNames::contactOf(const QString &address, const QString &recordedName)
{
    const QString key = VXSearchEntries::keyOf(address);
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT title, text, known FROM address CROSS JOIN entry ON entry.id = address.entry WHERE key = ?1 "
        "AND address.entry >= ?2 AND title <> '' ORDER BY entry LIMIT ?3"_s,
        nullptr);
    if (!statement || key.isEmpty())
        return {};
    statement.bindText(1, key);
    statement.bindNumber(2, VXSearchEntries::firstContact);
    statement.bindNumber(3, mostCandidates);
    constexpr double sameName = 1e9; // outweighs everything else
    const QString wanted = VXSearchTerms::folded(recordedName);
    QString name;
    for (auto best = -std::numeric_limits<double>::infinity(); statement.step() == VXSQLiteStatement::Step::Row;) {
        const bool isSo = !wanted.isEmpty() && VXSearchTerms::folded(statement.text(0)) == wanted;
        const double score = scoreOf(statement.text(1), statement.number(2), address, key) + (isSo ? sameName : 0.0);
        if (score > best)
            name = statement.text(0);
        best = std::max(best, score);
    }
    return name;
}

QString VXPartyNames::nameOf(const VXFoundParty &party)
{
    const bool isNumber = VXIsValidPhoneNumber(party.address);
    if (isNumber || party.address.contains(u'@')) {
        const std::pair key(party.address, party.name);
        auto known = _contacts.constFind(key);
        if (known == _contacts.cend())
            known = _contacts.insert(key, contactOf(party.address, party.name));
        if (!known->isNull())
            return *known;
    }
    return !party.name.isEmpty() ? party.name : isNumber ? VXFormatPhoneNumber(party.address) : party.address;
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
