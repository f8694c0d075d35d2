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

// How well a contact with these words fits a number, ranked as in look-ups: by country first, then by how much is known
// of the contact.
double scoreOf(const QString &text, qint64 known, const QString &number, const QString &digits)
{
    constexpr double sameCountry = 1e6;
    const QString abroad = VXPhoneNumberInternationalDigits(number);
    const QStringList lines = text.split(u'\n');
    double score = double(known);
    for (const QString &line : lines) {
        if (abroad.isNull() || !VXIsValidPhoneNumber(line) || VXSearchEntries::reversedSearchString(line) != digits)
            continue;
        if (const QString own = VXPhoneNumberInternationalDigits(line); !own.isNull())
            score += own == abroad ? sameCountry : -sameCountry;
    }
    return score;
}

} // namespace

// The name of the contact that fits the number best.
QString VXPartyNames::contactOf(const QString &number, const QString &recordedName)
{
    const QString digits = VXSearchEntries::reversedSearchString(number);
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT title, text, known FROM number CROSS JOIN entry ON entry.id = number.entry WHERE reversed = ?1 "
        "AND number.entry >= ?2 AND kind = 'contact' AND title <> '' ORDER BY entry LIMIT ?3"_s,
        nullptr);
    if (!statement || digits.isEmpty())
        return {};
    statement.bindText(1, digits);
    statement.bindNumber(2, VXSearchEntries::undated);
    statement.bindNumber(3, mostCandidates);
    constexpr double sameName = 1e9; // outweighs everything else
    const QString wanted = VXSearchTerms::folded(recordedName);
    QString name;
    for (auto best = -std::numeric_limits<double>::infinity(); statement.step() == VXSQLiteStatement::Step::Row;) {
        const bool isSo = !wanted.isEmpty() && VXSearchTerms::folded(statement.text(0)) == wanted;
        const double score = scoreOf(statement.text(1), statement.number(2), number, digits) + (isSo ? sameName : 0.0);
        if (score > best)
            name = statement.text(0);
        best = std::max(best, score);
    }
    return name;
}

QString VXPartyNames::nameOf(const VXFoundParty &party)
{
    const bool isNumber = VXIsValidPhoneNumber(party.address);
    if (isNumber) {
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
