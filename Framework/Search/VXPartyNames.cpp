#include "VXPartyNames.h"

#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXSearchEntries.h"
#include "VXSQLiteConnection.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 mostCandidates = 100;

// How well a contact with these words stands for a number, as look-ups go by it: its country first, then what is known of them.
double scoreOf(const QString &text, const QString &number, const QString &digits)
{
    constexpr double sameCountry = 1e6;
    const QString abroad = VXPhoneNumberInternationalDigits(number);
    const QStringList lines = text.split(u'\n');
    double score = double(lines.size());
    for (const QString &line : lines) {
        if (abroad.isNull() || !VXIsValidPhoneNumber(line) || VXSearchEntries::reversedSearchString(line) != digits)
            continue;
        if (const QString own = VXPhoneNumberInternationalDigits(line); !own.isNull())
            score += own == abroad ? sameCountry : -sameCountry;
    }
    return score;
}

} // namespace

// As the contact is called that stands for it best; else as people write it.
QString VXPartyNames::nameOf(const QString &number)
{
    const QString digits = VXSearchEntries::reversedSearchString(number);
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT title, text FROM number CROSS JOIN entry ON entry.id = number.entry WHERE reversed = ?1 "
        "AND number.entry >= ?2 AND kind = 'contact' AND title <> '' ORDER BY entry LIMIT ?3"_s,
        nullptr);
    if (!statement || digits.isEmpty())
        return VXFormatPhoneNumber(number);
    statement.bindText(1, digits);
    statement.bindNumber(2, VXSearchEntries::undated);
    statement.bindNumber(3, mostCandidates);
    QString name = VXFormatPhoneNumber(number);
    for (auto best = -std::numeric_limits<double>::infinity(); statement.step() == VXSQLiteStatement::Step::Row;) {
        const double score = scoreOf(statement.text(1), number, digits);
        if (score > best)
            name = statement.text(0);
        best = std::max(best, score);
    }
    return name;
}

void VXPartyNames::nameParties(VXFoundObject *object)
{
    if (object->kind == "contact"_L1 || object->title.isEmpty())
        return;
    QStringList parties = object->title.split(", "_L1);
    for (QString &party : parties) {
        if (!VXIsValidPhoneNumber(party))
            continue;
        QString &name = _names[party];
        if (name.isNull())
            name = nameOf(party);
        party = name;
    }
    object->title = parties.join(", "_L1);
}
