#include "VXContactLookup.h"
#include "VXContactReport.h"
#include "VXContactsOpen.h"
#include "VXContactVerbs.h"
#include "VXEmailAddress.h"
#include "VXErrorText.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLimitOption.h"
#include "VXManagedObjectContext.h"
#include "VXNearestWord.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXShownWidth.h"
#include "VXTextComparison.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype batchSize = 200;
constexpr qsizetype usualCompletions = 10;

VXManagedObjectPtr personOf(const VXManagedObject &entry)
{
    return entry.valueForKey(u"person"_s).value<VXManagedObjectPtr>();
}

QJsonObject jsonOf(const VXManagedObject &entry)
{
    const VXManagedObjectPtr person = personOf(entry);
    return {{u"name"_s, VXPhonebookEntry::displayString(entry)},
            {u"string"_s, VXPhonebookEntry::phonebookString(entry)},
            {u"contact"_s, person ? QJsonValue(VXShownContact(person).json(false)) : QJsonValue()}};
}

// None, with a message to the user, for something that is neither a number nor an address.
std::optional<QList<VXContactCandidate>> candidatesFor(VXHostContext &context, VXManagedObjectContext &contacts,
                                                       const QString &text)
{
    QString name;
    QString value;
    unsigned type = 0;
    if (!VXPhonebookStringSplit(VXPhonebookStringWithPause(text), &name, &value, &type)) {
        context.output.fail(u"\"%1\" is no phone number, e-mail address or phonebook string"_s.arg(text));
        return std::nullopt;
    }
    VXError error;
    const VXContactLookup lookup(contacts);
    auto found = VXIsValidEmailAddress(value) ? lookup.forEmailAddress(value, type, name, &error)
                                              : lookup.forPhoneNumber(value, type, name, &error);
    if (error) {
        context.output.fail(VXErrorText(error));
        return std::nullopt;
    }
    return found;
}

int lookUpAll(VXHostContext &context, const QString &text)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return VXHostOutput::Failed;
    VXManagedObjectContext contacts(coordinator);
    const auto candidates = candidatesFor(context, contacts, text);
    if (!candidates)
        return VXHostOutput::Failed;
    QList<QStringList> rows{{u"SCORE"_s, u"ENTRY"_s, u"ID"_s, u"WHY"_s}};
    QJsonArray json;
    for (const VXContactCandidate &candidate : *candidates) {
        const VXManagedObjectPtr person = personOf(*candidate.entry);
        rows.append({QString::number(candidate.score, 'f', 0), VXPhonebookEntry::phonebookString(*candidate.entry),
                     person ? VXShownContact(person).shortID : QString(), candidate.reasons.join("; "_L1)});
        QJsonObject each = jsonOf(*candidate.entry);
        each.insert(u"score"_s, candidate.score);
        each.insert(u"reasons"_s, QJsonArray::fromStringList(candidate.reasons));
        json.append(each);
    }
    context.output.answer(candidates->isEmpty() ? u"No contact has it.\n"_s : VXTextTable(rows), json);
    return candidates->isEmpty() ? VXHostOutput::Failed : VXHostOutput::Done;
}

// The requested groups by their names. Empty if none was requested; none, with a message to the user, if one does not
// exist.
std::optional<QVariantList> askedGroups(VXHostContext &context, VXManagedObjectContext &contacts)
{
    QStringList known;
    const VXFetchRequest request(*contacts.persistentStoreCoordinator()->model().entityForName(u"VXGroup"_s));
    if (const auto groups = contacts.executeFetchRequest(request)) {
        for (const VXManagedObjectPtr &group : *groups)
            known.append(VXPhonebookEntry::displayString(*group));
    }
    const auto folded = [](const QString &text) {
        return VXFoldedText(text, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
    };
    QVariantList asked;
    for (const auto &[option, name] : context.options.occurrences()) {
        if (option != "group"_L1)
            continue;
        const qsizetype before = asked.size();
        for (const QString &each : std::as_const(known)) {
            if (folded(each) == folded(name))
                asked.append(each);
        }
        if (asked.size() == before) {
            context.output.fail(u"there is no group \"%1\"%2"_s.arg(name, VXDidYouMean(name, known)));
            return std::nullopt;
        }
    }
    return asked;
}

/**
 * The rows of contacts, piece by piece, in columns that fit the output: the first piece decides which columns these
 * are.
 */
class ContactTable
{
public:
    explicit ContactTable(VXHostOutput &output) : _output(output) {}

    void add(const VXShownContact &contact)
    {
        _rows.append(contact.columns());
        for (const qsizetype column : std::as_const(_gone))
            _rows.last().removeAt(column);
    }
    qsizetype size() const { return _rows.size(); }
    void write()
    {
        if (!std::exchange(_isFitted, true))
            fit();
        if (_isNarrow)
            cutLast();
        _output.writePart(VXTextTable(std::exchange(_rows, {}), &_widths).chopped(1).toUtf8());
    }

private:
    static constexpr qsizetype leastReadable = 8;

    void fit()
    {
        QStringList names;
        for (qsizetype column = _rows.first().size() - 1; column > 1 && isTooWide(); --column) {
            if (_rows.first()[column] == "NUMBERS"_L1)
                continue;
            names.prepend(_rows.first()[column]);
            for (QStringList &row : _rows)
                row.removeAt(column);
            _gone.append(column);
        }
        _isNarrow = isTooWide();
        if (!names.isEmpty())
            _output.note(u"Left out for lack of room: %1. --json has everything."_s.arg(names.join(", "_L1)));
    }
    void cutLast()
    {
        QList<QStringList> others = _rows;
        for (QStringList &row : others)
            row.last().clear();
        const qsizetype room = std::max(_output.width() - VXWidthOfTable(others), leastReadable);
        for (QStringList &row : _rows)
            row.last() = VXCutToWidth(row.last(), room);
    }
    bool isTooWide() const { return VXWidthOfTable(_rows) > _output.width(); }

    VXHostOutput &_output;
    QList<QStringList> _rows{VXShownContact::titles()};
    QList<qsizetype> _widths;
    QList<qsizetype> _gone; // columns, in the order in which they are dropped
    bool _isFitted = false;
    bool _isNarrow = false;
};

} // namespace

int VXLookUpContact(VXHostContext &context)
{
    const QString text = context.options.operand(1);
    if (context.options.isSet(u"all"_s))
        return lookUpAll(context, text);
    const VXManagedObjectPtr entry = VXPhonebookManager::sharedPhonebookManager().entryForAddress(text);
    if (!entry) {
        context.output.answer(u"No contact has it.\n"_s, QJsonValue());
        if (!context.output.isJSON() && !VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(text)))
            context.output.note(u"\"%1\" is no number or address; \"vornix phonebook show\" and \"complete\" find "
                                "contacts by their names"_s.arg(text));
        return VXHostOutput::Failed;
    }
    const VXManagedObjectPtr person = personOf(*entry);
    context.output.answer(person ? VXShownContact(person).text() : VXPhonebookEntry::phonebookString(*entry) + u'\n',
                          jsonOf(*entry));
    return VXHostOutput::Done;
}

int VXCompleteContact(VXHostContext &context)
{
    const qsizetype limit = VXLimitOption(context.options, usualCompletions);
    const QStringList found = VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(
        context.options.operand(1), VXPhonebookPropertyAll, unsigned(limit));
    context.output.answer(found.isEmpty() ? QString() : found.join(u'\n') + u'\n', QJsonArray::fromStringList(found));
    return VXHostOutput::Done;
}

int VXListContacts(VXHostContext &context)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return VXHostOutput::Failed;
    VXManagedObjectContext contacts(coordinator);
    VXFetchRequest request(*coordinator->model().entityForName(u"VXPerson"_s));
    request.sortDescriptors = {{.key = u"sort_name"_s}};
    request.limit = VXLimitOption(context.options, 0);
    request.batchSize = batchSize;
    request.prefetchedRelationships = {u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s};
    const std::optional<QVariantList> groups = askedGroups(context, contacts);
    if (!groups)
        return VXHostOutput::Failed;
    if (!groups->isEmpty())
        request.predicate = *VXPredicate::predicateWithFormat(u"ANY groups.name IN %@"_s, {QVariant(*groups)});
    VXError error;
    const std::optional<VXFetchResult> found = contacts.executeFetchRequest(request, &error);
    if (!found)
        return context.output.fail(VXErrorText(error));
    context.output.beginParts();
    ContactTable table(context.output);
    for (qsizetype index = 0; index < found->size(); ++index) {
        const VXShownContact shown(found->at(index));
        if (context.output.isJSON())
            context.output.writePart(VXJSONText(shown.json(false)));
        else
            table.add(shown);
        const bool isFull = table.size() >= batchSize || index + 1 == found->size();
        if (!context.output.isJSON() && isFull)
            table.write();
        if (!context.output.flush())
            break;
    }
    if (found->isEmpty())
        context.output.note(u"There are no contacts."_s);
    return VXHostOutput::Done;
}

int VXShowContact(VXHostContext &context)
{
    const VXNamedContact named(context, VXNamedContact::Purpose::Look);
    if (!named.person)
        return VXHostOutput::Failed;
    const VXShownContact shown(named.person);
    context.output.answer(shown.text(), shown.json(true));
    return VXHostOutput::Done;
}
