#include "VXPartyNames.h"

#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXSearchEntries.h"
#include "VXSQLiteConnection.h"

using namespace Qt::StringLiterals;

// As a contact that has it is called; else as people write it.
QString VXPartyNames::nameOf(const QString &number)
{
    const QString digits = VXSearchEntries::reversedSearchString(number);
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT title FROM number CROSS JOIN entry ON entry.id = number.entry WHERE reversed = ?1 "
        "AND number.entry >= ?2 AND kind = 'contact' AND title <> '' ORDER BY entry LIMIT 1"_s,
        nullptr);
    if (!statement || digits.isEmpty())
        return VXFormatPhoneNumber(number);
    statement.bindText(1, digits);
    statement.bindNumber(2, VXSearchEntries::undated);
    return statement.step() == VXSQLiteStatement::Step::Row ? statement.text(0) : VXFormatPhoneNumber(number);
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
