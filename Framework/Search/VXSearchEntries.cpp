#include "VXSearchEntries.h"

#include "VXPhoneNumber.h"
#include "VXSearchTerms.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

// FTS5 collects words in memory, and has to flush them when an ID is lower than the one before. So changes are made in
// the order of IDs: first all removals, then all insertions.

namespace {

constexpr qint64 entriesOfAMoment = 1 << 16;   // IDs reserved for entries of one date
constexpr qint64 latestDate = qint64(1) << 45; // in milliseconds; a thousand years ahead

const QString identifierKey = u"kMDItemIdentifier"_s;
const QString numbersKey = u"kMDItemPhoneNumbers"_s;
const QString emailsKey = u"kMDItemEmailAddresses"_s;
const QString descriptionKey = u"kMDItemDescription"_s;
const QString dateKey = u"kMDItemContentCreationDate"_s;
const QString partyNamesKey = u"VXPartyNames"_s;
const QString partyAddressesKey = u"VXPartyAddresses"_s;
const QString partyTypesKey = u"VXPartyTypes"_s;

// Repeated texts only once, such as a number that is the whole title as well.
QString wordsOf(const QVariantMap &values)
{
    QStringList words;
    for (const auto &[key, value] : values.asKeyValueRange()) {
        if (key == identifierKey || key == "kMDItemCreator"_L1 || key == "kMDItemKind"_L1 || key == descriptionKey ||
            key == partyNamesKey || key == partyAddressesKey || key == partyTypesKey) // the parties are in other lists
            continue;
        if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QStringList ||
            value.typeId() == QMetaType::QVariantList)
            words += value.toStringList(); // a single text gives a list of one
    }
    words.removeDuplicates();
    const QString shown = values.value(descriptionKey).toString();
    const QString text = words.join(u'\n');
    return VXSearchTerms::indexed(text.contains(shown) ? text : text + u'\n' + shown);
}

QStringList addressesOf(const QVariantMap &values)
{
    QStringList keys = values.value(numbersKey).toStringList() + values.value(emailsKey).toStringList() +
                       values.value(partyAddressesKey).toStringList(); // also numbers with an extension
    keys.removeDuplicates();                                           // most stand in both
    std::ranges::transform(keys, keys.begin(), VXSearchEntries::keyOf);
    keys.removeAll(QString());
    keys.removeDuplicates();
    return keys;
}

// Null for none.
QByteArray jsonOf(const QStringList &keys)
{
    return keys.isEmpty() ? QByteArray()
                          : QJsonDocument(QJsonArray::fromStringList(keys)).toJson(QJsonDocument::Compact);
}

// [[NAME, ADDRESS, TYPE], ...]; null if there are no parties.
QByteArray partiesOf(const QVariantMap &values)
{
    const QStringList names = values.value(partyNamesKey).toStringList();
    const QStringList addresses = values.value(partyAddressesKey).toStringList();
    const QVariantList types = values.value(partyTypesKey).toList();
    QJsonArray parties;
    for (qsizetype index = 0; index < std::max(names.size(), addresses.size()); ++index)
        parties.append(QJsonArray{names.value(index), addresses.value(index), types.value(index).toInt()});
    return parties.isEmpty() ? QByteArray() : QJsonDocument(parties).toJson(QJsonDocument::Compact);
}

// Keeps null as null, which becomes NULL in SQL.
QByteArray utf8Of(const QString &text)
{
    return text.isNull() ? QByteArray() : text.toUtf8();
}

void bindUtf8(VXSQLiteStatement &statement, int parameter, const QByteArray &text)
{
    if (text.isNull())
        statement.bindNull(parameter);
    else
        statement.bindText(parameter, QUtf8StringView(text));
}

QString kindOf(const VXSearchIndex::Change &change)
{
    const QString kind = change.values->value(u"kMDItemKind"_s).toString();
    return kind.isEmpty() ? change.name.section(u'.', -1) : kind;
}

// Where an entry stands among others, from its ID on: the later ones come first, what has no date before these, and contacts
// before all.
qint64 placeOf(const VXSearchIndex::Change &change)
{
    if (kindOf(change) == "contact"_L1)
        return VXSearchEntries::firstContact;
    const QDateTime when = change.values->value(dateKey).toDateTime();
    return when.isValid() ? std::clamp<qint64>(when.toMSecsSinceEpoch(), 0, latestDate) * entriesOfAMoment
                          : VXSearchEntries::undated;
}

// The last ID of those that begin there.
qint64 endOf(qint64 place)
{
    return place == VXSearchEntries::firstContact ? std::numeric_limits<qint64>::max()
           : place == VXSearchEntries::undated    ? VXSearchEntries::firstContact - 1
                                                  : place + entriesOfAMoment - 1;
}

// None for what is no call, or a file of another program.
std::optional<qint64> callIn(const QVariantMap &values)
{
    const QVariant way = values.value(u"VXCallWay"_s);
    if (!way.isValid())
        return std::nullopt;
    const double seconds = values.value(u"kMDItemDurationSeconds"_s).toDouble();
    return VXSearchEntries::numberOf({VXFoundCall::Way(std::clamp(way.toInt(), 0, int(VXFoundCall::Way::Missed))),
                                      std::llround(std::clamp(seconds, 0.0, 1e9))});
}

/** What stands in the table of entries. What is bound lives as long as the row. */
struct Row
{
    Row(qint64 itsFolder, const VXSearchIndex::Change &change)
        : folder(itsFolder), addresses(addressesOf(*change.values)), name(change.name.toUtf8()),
          object(utf8Of(change.values->value(identifierKey).toString())), kind(utf8Of(kindOf(change))),
          title(utf8Of(change.values->value(u"kMDItemTitle"_s).toString())),
          detail(utf8Of(change.values->value(descriptionKey).toString())), date(change.values->value(dateKey)),
          text(utf8Of(wordsOf(*change.values))), json(jsonOf(addresses)), parties(partiesOf(*change.values)),
          hidden(change.values->value(u"VXHidden"_s).toLongLong()),
          known(change.values->value(u"VXInformativeValue"_s).toLongLong()), call(callIn(*change.values))
    {
    }

    void bind(VXSQLiteStatement &statement) const
    {
        statement.bindNumber(1, folder);
        bindUtf8(statement, 2, name);
        bindUtf8(statement, 3, object);
        bindUtf8(statement, 4, kind);
        bindUtf8(statement, 5, title);
        bindUtf8(statement, 6, detail);
        statement.bindValue(7, date);
        bindUtf8(statement, 8, text);
        bindUtf8(statement, 9, json);
        bindUtf8(statement, 10, parties);
        statement.bindNumber(11, hidden);
        statement.bindNumber(12, known);
        if (call)
            statement.bindNumber(13, *call);
        else
            statement.bindNull(13);
    }

    const qint64 folder;
    const QStringList addresses; // their keys
    const QByteArray name, object, kind, title, detail;
    const QVariant date;
    const QByteArray text;
    const QByteArray json; // of the addresses
    const QByteArray parties;
    const qint64 hidden; // a VXMetaDataHiding, or 0
    const qint64 known;  // for a contact, its VXPhonebookEntry::informativeValue
    const std::optional<qint64> call;
};

} // namespace

QString VXSearchEntries::reversed(const QString &digits)
{
    QString result = digits;
    std::reverse(result.begin(), result.end());
    return result;
}

QString VXSearchEntries::keyOf(const QString &address)
{
    return address.contains(u'@') ? u'@' + address.toLower()
                                  : reversed(VXPhoneNumberLookUpString(VXSearchTerms::withPlainDigits(address)));
}

bool VXSearchEntries::run(VXSQLiteStatement &statement, VXError *error)
{
    const bool isDone = statement.run();
    if (!isDone)
        VXSetError(error, _connection.lastError());
    return isDone;
}

bool VXSearchEntries::apply(qint64 folder, const QList<VXSearchIndex::Change> &changes, VXError *error)
{
    Dues dues = inOrder(changes);
    return insertNew(folder, &dues, error) && takeOut(folder, dues, error) && replace(folder, dues, error);
}

std::optional<bool> VXSearchEntries::has(qint64 folder, const VXSearchIndex::Change &change, VXError *error)
{
    VXSQLiteStatement statement = _connection.statement(
        u"SELECT 1 FROM entry WHERE folder = ?1 AND name = ?2 AND object IS ?3 AND kind IS ?4 AND title IS ?5 AND "
        "detail IS ?6 AND date IS ?7 AND text IS ?8 AND addresses IS ?9 AND parties IS ?10 AND hidden = ?11 AND known "
        "= ?12 AND "
        "call IS ?13 AND NOT EXISTS "
        "(SELECT 1 FROM json_each(?9) WHERE NOT EXISTS "
        "(SELECT 1 FROM address WHERE key = value AND address.entry = entry.id))"_s,
        error);
    if (!statement)
        return std::nullopt;
    const Row row(folder, change);
    row.bind(statement);
    const VXSQLiteStatement::Step step = statement.step();
    if (step != VXSQLiteStatement::Step::Failed)
        return step == VXSQLiteStatement::Step::Row;
    VXSetError(error, _connection.lastError());
    return std::nullopt;
}

VXSearchEntries::Dues VXSearchEntries::inOrder(const QList<VXSearchIndex::Change> &changes)
{
    QHash<QStringView, qsizetype> last;
    last.reserve(changes.size());
    for (qsizetype index = 0; index < changes.size(); ++index)
        last[changes[index].name] = index;
    Dues dues;
    dues.reserve(size_t(last.size()));
    for (qsizetype index = 0; index < changes.size(); ++index) {
        const VXSearchIndex::Change &change = changes[index];
        if (last.value(change.name) == index)
            dues.push_back({change.values ? placeOf(change) : undated, &change});
    }
    std::ranges::stable_sort(dues, {}, &Due::place);
    return dues;
}

// Optimistic: mostly each entry is new, and the only one of its moment.
bool VXSearchEntries::insertNew(qint64 folder, Dues *dues, VXError *error)
{
    bool isDone = true;
    std::erase_if(*dues, [&](const Due &due) {
        bool isIn = false;
        if (isDone && due.place < undated)
            isDone = insert(folder, *due.change, due.place, &isIn, error);
        return isIn;
    });
    return isDone;
}

bool VXSearchEntries::takeOut(qint64 folder, const Dues &dues, VXError *error)
{
    VXSQLiteStatement known = _connection.statement(u"SELECT id FROM entry WHERE folder = ?1 AND name = ?2"_s, error);
    if (!known)
        return false;
    std::vector<qint64> ids;
    for (const Due &due : dues) {
        known.bindNumber(1, folder);
        known.bindText(2, due.change->name);
        const VXSQLiteStatement::Step step = known.step();
        if (step == VXSQLiteStatement::Step::Failed) {
            VXSetError(error, _connection.lastError());
            return false;
        }
        if (step == VXSQLiteStatement::Step::Row)
            ids.push_back(known.number(0));
        known.reset();
    }
    std::ranges::sort(ids);
    return std::ranges::all_of(ids, [&](qint64 id) {
        return takeOut(
            u"id = ?1"_s, [id](VXSQLiteStatement &statement) { statement.bindNumber(1, id); }, error);
    });
}

bool VXSearchEntries::takeOutAll(const QString &folder, VXError *error)
{
    return takeOut(
        u"folder = (SELECT id FROM folder WHERE name = ?1)"_s,
        [&](VXSQLiteStatement &statement) { statement.bindText(1, folder); }, error);
}

// Entries, with their words and addresses.
bool VXSearchEntries::takeOut(const QString &condition, const std::function<void(VXSQLiteStatement &)> &bind,
                              VXError *error)
{
    const QString statements[] = {
        u"INSERT INTO words (words, rowid, kind, text) SELECT 'delete', id, kind, text FROM entry WHERE "_s +
            condition + u" ORDER BY id"_s,
        u"DELETE FROM address WHERE (key, entry) IN (SELECT value, entry.id FROM entry, json_each(addresses) WHERE entry."_s +
            condition + u')',
        u"DELETE FROM entry WHERE "_s + condition,
    };
    return std::ranges::all_of(statements, [&](const QString &sql) {
        VXSQLiteStatement statement = _connection.statement(sql, error);
        if (!statement)
            return false;
        bind(statement);
        return run(statement, error);
    });
}

bool VXSearchEntries::replace(qint64 folder, const Dues &dues, VXError *error)
{
    return std::ranges::all_of(dues, [&](const Due &due) {
        if (!due.change->values)
            return true;
        bool isIn = false;
        const std::optional<qint64> id = freeID(due.place, error);
        return id && insert(folder, *due.change, *id, &isIn, error);
    });
}

// The next free ID from `place` on; none on failure.
std::optional<qint64> VXSearchEntries::freeID(qint64 place, VXError *error)
{
    VXSQLiteStatement statement =
        _connection.statement(u"SELECT coalesce(max(id) + 1, ?1) FROM entry WHERE id BETWEEN ?1 AND ?2"_s, error);
    if (!statement)
        return std::nullopt;
    while (true) {
        const qint64 end = endOf(place);
        statement.bindNumber(1, place);
        statement.bindNumber(2, end);
        if (statement.step() != VXSQLiteStatement::Step::Row) {
            VXSetError(error, _connection.lastError());
            return std::nullopt;
        }
        const qint64 found = statement.number(0);
        statement.reset();
        if (found <= end)
            return found;
        place = found; // all IDs of that moment are taken
    }
}

// Inserts nothing (`isIn` is false) if an entry with that ID or name exists.
bool VXSearchEntries::insert(qint64 folder, const VXSearchIndex::Change &change, qint64 id, bool *isIn, VXError *error)
{
    VXSQLiteStatement entry = _connection.statement(u"INSERT OR IGNORE INTO entry (folder, name, object, kind, title, "
                                                    u"detail, date, text, addresses, parties, hidden, known, call, id) "
                                                    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"_s,
                                                    error);
    VXSQLiteStatement words = _connection.statement(u"INSERT INTO words (rowid, kind, text) VALUES (?, ?, ?)"_s, error);
    if (!entry || !words)
        return false;
    const Row row(folder, change);
    row.bind(entry);
    entry.bindNumber(14, id);
    words.bindNumber(1, id);
    bindUtf8(words, 2, row.kind);
    bindUtf8(words, 3, row.text);
    if (!run(entry, error))
        return false;
    *isIn = _connection.changes() > 0;
    return !*isIn || (run(words, error) && putAddresses(id, row.addresses, error));
}

bool VXSearchEntries::putAddresses(qint64 id, const QStringList &keys, VXError *error)
{
    if (keys.isEmpty())
        return true;
    VXSQLiteStatement statement = _connection.statement(u"INSERT OR IGNORE INTO address VALUES (?, ?)"_s, error);
    return statement && std::ranges::all_of(keys, [&](const QString &key) {
               statement.bindText(1, key);
               statement.bindNumber(2, id);
               return run(statement, error);
           });
}
