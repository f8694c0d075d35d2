#include "VXSearchQuery.h"

#include "VXMetaDataSource.h"
#include "VXSearchEntries.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <vector>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto inTrash = int(VXMetaDataHiding::InTrash);

// Without SQLite's own conversion to UTF-16, which takes longer. Null for NULL.
QString textOf(sqlite3_value *value)
{
    const auto *const text = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return text == nullptr ? QString() : QString::fromUtf8(text, sqlite3_value_bytes(value));
}

} // namespace

const QString VXSearchQuery::columns = u"SELECT object, entry.kind, title, detail, date, parties, hidden, call "_s;

VXSearchQuery::VXSearchQuery(VXSQLiteConnection &connection, const VXSearchIndex::Scope &scope, qsizetype limit)
    : _connection(connection), _kind(scope.kind),
      _isShown(u"entry.hidden <= %1 "_s.arg(scope.isTrashIncluded ? inTrash : 0)), _limit(limit)
{
}

QList<VXFoundParty> VXSearchQuery::partiesIn(const QString &json)
{
    QList<VXFoundParty> parties;
    for (const QJsonValue party : QJsonDocument::fromJson(json.toUtf8()).array())
        parties.append({party[0].toString(), party[1].toString(), unsigned(party[2].toInt())});
    return parties;
}

VXFoundObject VXSearchQuery::foundIn(const VXSQLiteStatement &row)
{
    std::vector<sqlite3_value *> values;
    row.columns(&values);
    VXFoundObject object{
        .place = textOf(values[0]), .kind = textOf(values[1]), .title = textOf(values[2]), .detail = textOf(values[3])};
    if (!row.value(4).isNull())
        object.date = QDateTime::fromMSecsSinceEpoch(row.number(4), Qt::UTC);
    if (object.kind != "contact"_L1) // which is no party of its own
        object.parties = partiesIn(textOf(values[5]));
    object.isInTrash = row.number(6) == inTrash;
    if (!row.value(7).isNull())
        object.call = VXSearchEntries::callOf(row.number(7));
    return object;
}

std::optional<QList<VXFoundObject>> VXSearchQuery::run(const VXSearchTerms &terms, VXError *error)
{
    bool isDone = (terms.digits().isNull() || collectNumbers(terms.digits(), error)) && collectAll(terms, error);
    if (isDone && isMoreWanted() && terms.mayHaveUmlauts()) { // behind all that has the letters that were typed
        _spelling = VXSearchTerms::Spelling::WithUmlauts;
        isDone = collectAll(terms, error);
    }
    return isDone ? std::optional(_found) : std::nullopt;
}

bool VXSearchQuery::collectAll(const VXSearchTerms &terms, VXError *error)
{
    using Reading = VXSearchTerms::Reading;
    using Match = VXSearchTerms::Match;
    const QStringList &words = terms.words();
    const auto byReading = [&](const Reading &reading) { return collectReading(reading, error); };
    const auto byContacts = [&](const Reading &reading) { return collectOfContacts(reading, error); };
    const QList<Reading> withWhole = QList<Reading>{{.words = words, .ends = {}}} + terms.readings();
    return words.isEmpty() || (collectWords(words, Match::Whole, error) && collectWords(words, Match::Prefix, error) &&
                               std::ranges::all_of(terms.readings(), byReading) &&
                               (_kind == "contact"_L1 || std::ranges::all_of(withWhole, byContacts)));
}

bool VXSearchQuery::collectWords(const QStringList &words, VXSearchTerms::Match match, VXError *error)
{
    if (!isMoreWanted())
        return true;
    VXSQLiteStatement statement = _connection.statement(columns +
                                                            u"FROM words JOIN entry ON entry.id = words.rowid "
                                                            "WHERE words MATCH ? AND "_s +
                                                            _isShown + u"ORDER BY words.rowid DESC LIMIT ?"_s,
                                                        error);
    if (!statement)
        return false;
    const QString expression = expressionOf(words, match, _kind);
    statement.bindText(1, expression);
    statement.bindNumber(2, most());
    return collect(statement, error);
}

bool VXSearchQuery::collectReading(const VXSearchTerms::Reading &reading, VXError *error)
{
    if (!isMoreWanted())
        return true;
    QStringList sets; // of entries; the result is their intersection
    QStringList values;
    const auto add = [&](const QString &set, const QStringList &its) {
        sets.append("SELECT * FROM ("_L1 + set + u')');
        values += its;
    };
    const auto matching = [this](const QStringList &words) {
        return expressionOf(words, VXSearchTerms::Match::Prefix);
    };
    const QString byNumber = u"SELECT entry FROM address WHERE key >= ? AND key < ?"_s;
    const QString byWord = u"SELECT rowid FROM words WHERE words MATCH ?"_s;
    for (const VXSearchTerms::NumberEnd &end : reading.ends) {
        const QString first = VXSearchEntries::reversed(end.digits);
        const QString behind = first + u':'; // ':' follows the digits
        if (end.word.isNull())
            add(byNumber, {first, behind});
        else
            add(byNumber + " UNION ALL "_L1 + byWord, {first, behind, matching({end.word})});
    }
    if (!reading.words.isEmpty())
        add(byWord, {matching(reading.words)});
    VXSQLiteStatement statement =
        _connection.statement(columns + "FROM entry WHERE id IN ("_L1 + sets.join(" INTERSECT "_L1) +
                                  ") AND coalesce(kind = ?, 1) AND "_L1 + _isShown + "ORDER BY id DESC LIMIT ?"_L1,
                              error);
    if (!statement)
        return false;
    values.append(_kind);
    int parameter = 0;
    for (const QString &value : std::as_const(values))
        statement.bindText(++parameter, value);
    statement.bindNumber(++parameter, most());
    return collect(statement, error);
}

bool VXSearchQuery::collectNumbers(const QString &digits, VXError *error)
{
    const QString conditions[] = {
        u"key = ?1 AND (?3 IS NULL OR entry.kind = ?3) AND "_s + _isShown +
            u"ORDER BY address.entry DESC LIMIT ?4"_s, // as they lie there
        u"key > ?1 AND key < ?2 AND (?3 IS NULL OR entry.kind = ?3) AND "_s + _isShown +
            u"GROUP BY entry.id ORDER BY entry.id DESC LIMIT ?4"_s,
    };
    const QString first = VXSearchEntries::reversed(digits);
    const QString behind = first + u':'; // ':' follows the digits
    return std::ranges::all_of(conditions, [&](const QString &condition) {
        VXSQLiteStatement statement = _connection.statement(
            columns + u"FROM address CROSS JOIN entry ON entry.id = address.entry WHERE "_s + condition, error);
        if (!statement)
            return false;
        statement.bindText(1, first);
        statement.bindText(2, behind);
        statement.bindText(3, _kind);
        statement.bindNumber(4, most());
        return !isMoreWanted() || collect(statement, error);
    });
}

bool VXSearchQuery::collect(VXSQLiteStatement &statement, VXError *error)
{
    VXSQLiteStatement::Step step = VXSQLiteStatement::Step::Row;
    while (isMoreWanted() && (step = statement.step()) == VXSQLiteStatement::Step::Row) {
        const QString place = statement.text(0);
        if (_known.contains(place))
            continue;
        _known.insert(place);
        _found.append(foundIn(statement));
    }
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection.lastError());
    return step != VXSQLiteStatement::Step::Failed;
}
