#include "VXSearchEntries.h"
#include "VXSearchQuery.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <bit>
#include <functional>
#include <tuple>

using namespace Qt::StringLiterals;

// Records have the address of their party, and perhaps a name of that time. Whose it is now, is seen when somebody searches: so it
// is true however often contacts change, and no record has to be written again for it.

namespace {

constexpr qsizetype mostContacts = 10'000; // of a word, and of all; a step in the index for each address of theirs
constexpr int mostGroups = 64; // of contacts that are found by the same words; a search in the index for each

QString jsonOf(const QList<qint64> &numbers)
{
    QStringList texts;
    for (const qint64 number : numbers)
        texts.append(QString::number(number));
    return u'[' + texts.join(u',') + u']';
}

QString jsonOf(const QStringList &keys)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(keys)).toJson(QJsonDocument::Compact));
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
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT rowid FROM words WHERE words MATCH ? AND rowid >= ? ORDER BY rowid DESC LIMIT ?"_s, error);
    if (!statement)
        return false;
    const QString expression = expressionOf(words, VXSearchTerms::Match::Prefix);
    statement.bindText(1, expression);
    statement.bindNumber(2, VXSearchEntries::firstContact);
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

std::optional<QStringList> VXSearchQuery::addressesOf(const QList<qint64> &entries, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT DISTINCT value FROM entry, json_each(addresses) WHERE entry.id IN (SELECT value FROM json_each(?))"_s,
        error);
    if (!statement)
        return std::nullopt;
    const QString json = jsonOf(entries);
    statement.bindText(1, json);
    QStringList keys;
    VXSQLiteStatement::Step step;
    while ((step = statement.step()) == VXSQLiteStatement::Step::Row)
        keys.append(statement.text(0));
    if (step != VXSQLiteStatement::Step::Failed)
        return keys;
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

// The latest records of each address. `records` is in no order, and has more than are wanted when there are several addresses.
bool VXSearchQuery::recordsOfAddresses(const QStringList &keys, QList<qint64> *records, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT address.entry FROM address CROSS JOIN entry ON entry.id = address.entry WHERE key = ?1 AND "
        "address.entry < ?4 AND (?2 IS NULL OR entry.kind = ?2) AND "_s +
            _isShown + u"ORDER BY address.entry DESC LIMIT ?3"_s,
        error);
    return statement && std::ranges::all_of(keys, [&](const QString &key) {
               statement.bindText(1, key);
               statement.bindText(2, _kind);
               statement.bindNumber(3, most());
               statement.bindNumber(4, VXSearchEntries::firstContact);
               const bool isDone = addNumbersIn(statement, records, error);
               statement.reset();
               if (records->size() / 2 > most())
                   keepLatest(records);
               return isDone;
           });
}

bool VXSearchQuery::recordsOfAddressesWith(const QStringList &words, const QStringList &keys, QList<qint64> *records,
                                           VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT words.rowid FROM words JOIN entry ON entry.id = words.rowid WHERE words MATCH ?1 AND words.rowid < ?4 "
        "AND EXISTS (SELECT 1 FROM json_each(addresses) WHERE value IN (SELECT value FROM json_each(?2))) AND "_s +
            _isShown + u"ORDER BY words.rowid DESC LIMIT ?3"_s,
        error);
    if (!statement)
        return false;
    const QString expression = expressionOf(words, VXSearchTerms::Match::Prefix, _kind);
    const QString json = jsonOf(keys);
    statement.bindText(1, expression);
    statement.bindText(2, json);
    statement.bindNumber(3, most());
    statement.bindNumber(4, VXSearchEntries::firstContact);
    return addNumbersIn(statement, records, error);
}

// The words that occur in any record, as bits: the other words have to be a contact's.
std::optional<quint32> VXSearchQuery::wordsOfRecords(const QStringList &words, VXError *error)
{
    VXSQLiteStatement statement =
        _connection.statement(u"SELECT 1 FROM words WHERE words MATCH ? AND rowid < ? LIMIT 1"_s, error);
    quint32 found = 0;
    for (qsizetype index = 0; statement && index < words.size(); ++index) {
        const QString expression = expressionOf({words[index]}, VXSearchTerms::Match::Prefix);
        statement.bindText(1, expression);
        statement.bindNumber(2, VXSearchEntries::firstContact);
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
    const auto hasEnds = [&](const QString &key) {
        return std::ranges::all_of(ends, [&](const VXSearchTerms::NumberEnd &end) {
            return key.startsWith(VXSearchEntries::reversed(end.digits));
        });
    };
    auto keys = addressesOf(contacts, error);
    if (!keys)
        return false;
    keys->removeIf([&](const QString &key) { return !hasEnds(key); });
    QList<qint64> records;
    const bool areFound = words.isEmpty() ? recordsOfAddresses(*keys, &records, error)
                                          : recordsOfAddressesWith(words, *keys, &records, error);
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
