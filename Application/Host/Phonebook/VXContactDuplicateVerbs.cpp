#include "VXContactDuplicates.h"
#include "VXContactReport.h"
#include "VXContactsOpen.h"
#include "VXContactVerbs.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXStoresAtPath.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString idOf(const VXManagedObjectID &person)
{
    return u'p' + QString::number(person.number());
}

QStringList idsOf(const VXDuplicateContacts &duplicates)
{
    QStringList ids;
    for (const VXManagedObjectID &person : duplicates.persons)
        ids.append(idOf(person));
    return ids;
}

// True if it is the number in the list, or a name of one of them.
bool isNamed(const VXDuplicateContacts &duplicates, qsizetype number, const QString &text)
{
    const auto hasName = [&](const VXContactRecord &contact) {
        return contact.displayName().compare(text, Qt::CaseInsensitive) == 0;
    };
    return text == QString::number(number) || hasName(duplicates.merged) ||
           std::ranges::any_of(duplicates.contacts, hasName);
}

/** The duplicates that the operands select. */
class Choice
{
public:
    Choice(const VXContactDuplicates &finder, const QStringList &operands) : _finder(finder), _operands(operands) {}

    void consider(const VXDuplicateContacts &duplicates, qsizetype number)
    {
        const QStringList ids = idsOf(duplicates);
        QList<VXManagedObjectID> persons;
        bool isWhole = _operands.isEmpty();
        for (const QString &operand : _operands) {
            const qsizetype place = ids.indexOf(operand);
            const bool isThis = isNamed(duplicates, number, operand);
            if (place >= 0 && !persons.contains(duplicates.persons[place]))
                persons.append(duplicates.persons[place]);
            isWhole = isWhole || isThis;
            if (isThis || place >= 0)
                _met.append(operand);
        }
        // One ID stands for everyone who is the same person, several IDs for just these.
        const bool isSome = !isWhole && persons.size() > 1 && persons.size() < ids.size();
        if (isWhole || !persons.isEmpty())
            _chosen.append({number, isSome ? _finder.some(duplicates, persons) : duplicates});
    }

    const QList<std::pair<qsizetype, VXDuplicateContacts>> &chosen() const { return _chosen; }
    /** Null if each operand selects one. */
    QString unknownOperand() const
    {
        const auto unknown = std::ranges::find_if(_operands, [&](const QString &each) { return !_met.contains(each); });
        return unknown == _operands.cend() ? QString() : *unknown;
    }

private:
    const VXContactDuplicates &_finder;
    const QStringList _operands;
    QStringList _met;
    QList<std::pair<qsizetype, VXDuplicateContacts>> _chosen; // with their numbers in the list
};

int answer(VXHostContext &context, const Choice &choice, bool merges)
{
    QList<QStringList> rows{{u"NO"_s, u"CONTACTS"_s, u"NAME"_s, u"SHARE"_s, u"MERGED"_s}};
    QJsonArray json;
    for (const auto &[number, each] : choice.chosen()) {
        const QStringList merged = VXShownAddresses(each.merged.numbers) + VXShownAddresses(each.merged.emails);
        rows.append({QString::number(number), idsOf(each).join(u' '), each.merged.shownName(),
                     each.shared.join(", "_L1), merged.join(", "_L1)});
        VXContactRecord preview = each.merged;
        preview.image.clear();
        json.append(QJsonObject{{u"number"_s, number},
                                {u"contacts"_s, QJsonArray::fromStringList(idsOf(each))},
                                {u"shared"_s, QJsonArray::fromStringList(each.shared)},
                                {u"merged"_s, VXJSONFromVariant(preview.map())}});
    }
    const QString done = merges ? u"Merged; \"vornix phonebook undo-import\" takes it back.\n"_s
                                : u"\"--merge\" makes one contact of each; with a NO before it only of that.\n"_s;
    context.output.answer(json.isEmpty() ? u"There are no duplicates.\n"_s
                                         : VXFittingTable(context.output, rows, {u"SHARE"_s, u"MERGED"_s}) + done,
                          QJsonObject{{u"duplicates"_s, json}, {u"merged"_s, merges && !json.isEmpty()}});
    return VXHostOutput::Done;
}

} // namespace

int VXShowDuplicateContacts(VXHostContext &context)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return VXHostOutput::Failed;
    const VXContactDuplicates duplicates(coordinator);
    VXError error;
    const std::optional<QList<VXDuplicateContacts>> found = duplicates.find(&error);
    if (!found)
        return context.output.fail(VXErrorText(error));
    Choice choice(duplicates, context.options.operands().sliced(1));
    for (qsizetype index = 0; index < found->size(); ++index)
        choice.consider(found->at(index), index + 1);
    if (const QString unknown = choice.unknownOperand(); !unknown.isNull())
        return context.output.fail(
            u"there are no duplicates \"%1\"; \"vornix phonebook duplicates\" shows those there are"_s.arg(unknown));
    QList<VXDuplicateContacts> chosen;
    for (const auto &each : choice.chosen())
        chosen.append(each.second);
    const bool merges = context.options.isSet(u"merge"_s);
    if (merges && !duplicates.merge(chosen, &error))
        return context.output.fail(VXErrorText(error));
    return answer(context, choice, merges);
}
