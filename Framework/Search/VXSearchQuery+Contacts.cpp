#include "VXSearchEntries.h"
#include "VXSearchQuery.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QHash>

#include <algorithm>
#include <bit>
#include <functional>
#include <tuple>

using namespace Qt::StringLiterals;

// Records have their party's number, and perhaps the name it had at that time. Whose number it is now is looked up
// during the search: so the result is right however often contacts change, and no record has to be written again.

namespace {

constexpr qsizetype mostContacts = 10'000; // per word and in total; each of their numbers takes a look-up
constexpr int mostGroups = 64;             // of contacts found by the same words; each takes a search

QString jsonOf(const QList<qint64> &numbers)
{
    QStringList texts;
    for (const qint64 number : numbers)
        texts.append(QString::number(number));
    return u'[' + texts.join(u',') + u']';
}

QString jsonOf(const QStringList &digits)
{
    return digits.isEmpty() ? u"[]"_s : "[\""_L1 + digits.join("\",\""_L1) + "\"]"_L1;
}

} // namespace

bool VXSearchQuery::addNumbersIn(VXSQLiteStatement &statement, QList<qint64> *numbers, VXError *error)
{
    VXSQLiteStatement::Step step;
    while ((step = statement.step()) == VXSQLiteStatement::Step::Row)
        numbers->append(statement.number(0));
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection.lastError());
    return step != VXSQLiteStatement::Step::Failed;
}

bool VXSearchQuery::contactsWith(const QStringList &words, QList<qint64> *contacts, VXError *error)
{
    VXSQLiteStatement statement =
        _connection.statement(u"SELECT words.rowid FROM words JOIN entry ON entry.id = words.rowid WHERE words MATCH ? "
                              "AND words.rowid >= ? AND entry.kind = 'contact' ORDER BY words.rowid DESC LIMIT ?"_s,
                              error);
    if (!statement)
        return false;
    const QString expression = VXSearchTerms::expression(words, VXSearchTerms::Match::Prefix);
    statement.bindText(1, expression);
    statement.bindNumber(2, VXSearchEntries::undated);
    statement.bindNumber(3, mostContacts);
    return addNumbersIn(statement, contacts, error);
}

// Contacts with the words each is found by (the first word is the lowest bit), those with the most words first.
std::optional<QList<VXSearchQuery::FoundContact>> VXSearchQuery::contactsWithAny(const QStringList &words,
                                                                                 VXError *error)
{
    QHash<qint64, quint32> wordsOf;
    QList<qint64> contacts;
    if (!contactsWith(words, &contacts, error))
        return std::nullopt;
    for (const qint64 contact : std::as_const(contacts))
        wordsOf[contact] = quint32((quint64(1) << words.size()) - 1);
    for (qsizetype index = 0; words.size() > 1 && index < words.size(); ++index) {
        contacts.clear();
        if (!contactsWith({words[index]}, &contacts, error))
            return std::nullopt;
        for (const qint64 contact : std::as_const(contacts))
            wordsOf[contact] |= quint32(1) << index;
    }
    QList<FoundContact> found;
    for (const auto &[contact, bits] : wordsOf.asKeyValueRange())
        found.append({contact, bits});
    std::ranges::sort(found, [](const FoundContact &a, const FoundContact &b) {
        return std::tuple(-std::popcount(a.words), a.words, a.id) < std::tuple(-std::popcount(b.words), b.words, b.id);
    });
    return found.first(std::min(found.size(), mostContacts));
}

std::optional<QStringList> VXSearchQuery::numbersOf(const QList<qint64> &entries, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT DISTINCT value FROM entry, json_each(numbers) WHERE entry.id IN (SELECT value FROM json_each(?))"_s,
        error);
    if (!statement)
        return std::nullopt;
    const QString json = jsonOf(entries);
    statement.bindText(1, json);
    QStringList numbers;
    VXSQLiteStatement::Step step;
    while ((step = statement.step()) == VXSQLiteStatement::Step::Row)
        numbers.append(statement.text(0));
    if (step != VXSQLiteStatement::Step::Failed)
        return numbers;
    VXSetError(error, _connection.lastError());
    return std::nullopt;
}

// Keeps only as many records as are wanted, the latest ones. `records` may be in any order.
void VXSearchQuery::keepLatest(QList<qint64> *records) const
{
    if (records->size() <= most())
        return;
    const auto end = records->begin() + most();
    std::ranges::nth_element(*records, end, std::greater());
    records->erase(end, records->end());
}

// The latest records of each number, in no order; with several numbers there are more than are wanted.
bool VXSearchQuery::recordsOfNumbers(const QStringList &numbers, QList<qint64> *records, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT number.entry FROM number CROSS JOIN entry ON entry.id = number.entry WHERE reversed = ?1 AND "
        "entry.kind <> 'contact' AND (?2 IS NULL OR entry.kind = ?2) AND "_s +
            _isShown + u"ORDER BY number.entry DESC LIMIT ?3"_s,
        error);
    return statement && std::ranges::all_of(numbers, [&](const QString &number) {
               statement.bindText(1, number);
               statement.bindText(2, _kind);
               statement.bindNumber(3, most());
               const bool isDone = addNumbersIn(statement, records, error);
               statement.reset();
               if (records->size() / 2 > most())
                   keepLatest(records);
               return isDone;
           });
}

bool VXSearchQuery::recordsOfNumbersWith(const QStringList &words, const QStringList &numbers, QList<qint64> *records,
                                         VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT words.rowid FROM words JOIN entry ON entry.id = words.rowid WHERE words MATCH ?1 AND entry.kind <> "
        u"'contact' "
        "AND EXISTS (SELECT 1 FROM json_each(numbers) WHERE value IN (SELECT value FROM json_each(?2))) AND "_s +
            _isShown + u"ORDER BY words.rowid DESC LIMIT ?3"_s,
        error);
    if (!statement)
        return false;
    const QString expression = VXSearchTerms::expression(words, VXSearchTerms::Match::Prefix, _kind);
    const QString json = jsonOf(numbers);
    statement.bindText(1, expression);
    statement.bindText(2, json);
    statement.bindNumber(3, most());
    return addNumbersIn(statement, records, error);
}

// The words that occur in any record, as bits: the other words have to be a contact's.
std::optional<quint32> VXSearchQuery::wordsOfRecords(const QStringList &words, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT 1 FROM words JOIN entry ON entry.id = words.rowid WHERE words MATCH ? AND entry.kind <> 'contact' "
        "LIMIT 1"_s,
        error);
    quint32 found = 0;
    for (qsizetype index = 0; statement && index < words.size(); ++index) {
        const QString expression = VXSearchTerms::expression({words[index]}, VXSearchTerms::Match::Prefix);
        statement.bindText(1, expression);
        const VXSQLiteStatement::Step step = statement.step();
        statement.reset();
        if (step == VXSQLiteStatement::Step::Failed) {
            VXSetError(error, _connection.lastError());
            return std::nullopt;
        }
        if (step == VXSQLiteStatement::Step::Row)
            found |= quint32(1) << index;
    }
    return statement ? std::optional(found) : std::nullopt;
}

bool VXSearchQuery::collectOfContacts(const VXSearchTerms::Reading &reading, VXError *error)
{
    const QStringList &words = reading.words;
    if (words.isEmpty() || !isMoreWanted())
        return true;
    auto contacts = contactsWithAny(words, error);
    const auto ofRecords = contacts && words.size() > 1 ? wordsOfRecords(words, error) : std::optional<quint32>(0);
    if (!contacts || !ofRecords)
        return false;
    const auto all = quint32((quint64(1) << words.size()) - 1);
    contacts->removeIf([&](const FoundContact &each) { return (each.words | *ofRecords) != all; });
    int groups = 0;
    for (auto first = contacts->cbegin(); first != contacts->cend() && isMoreWanted() && ++groups <= mostGroups;) {
        const auto end = std::find_if(first, contacts->cend(),
                                      [first](const FoundContact &each) { return each.words != first->words; });
        QList<qint64> sameWords;
        for (auto contact = first; contact != end; ++contact)
            sameWords.append(contact->id);
        QStringList others;
        for (qsizetype index = 0; index < words.size(); ++index) {
            if ((first->words >> index & 1U) == 0)
                others.append(words[index]);
        }
        if (!collectRecords(sameWords, others, reading.ends, error))
            return false;
        first = end;
    }
    return true;
}

bool VXSearchQuery::collectRecords(const QList<qint64> &contacts, const QStringList &words,
                                   const QList<VXSearchTerms::NumberEnd> &ends, VXError *error)
{
    const auto hasEnds = [&](const QString &number) {
        return std::ranges::all_of(ends, [&](const VXSearchTerms::NumberEnd &end) {
            return number.startsWith(VXSearchEntries::reversed(end.digits));
        });
    };
    auto numbers = numbersOf(contacts, error);
    if (!numbers)
        return false;
    numbers->removeIf([&](const QString &number) { return !hasEnds(number); });
    QList<qint64> records;
    const bool areFound = words.isEmpty() ? recordsOfNumbers(*numbers, &records, error)
                                          : recordsOfNumbersWith(words, *numbers, &records, error);
    return areFound && collectEntries(records, error);
}

bool VXSearchQuery::collectEntries(const QList<qint64> &entries, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        columns + u"FROM entry WHERE id IN (SELECT value FROM json_each(?)) ORDER BY id DESC"_s, error);
    if (!statement)
        return false;
    const QString json = jsonOf(entries);
    statement.bindText(1, json);
    return collect(statement, error);
}
