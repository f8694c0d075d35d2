#include "VXSearchIndex.h"

#include "VXErrorDomain.h"
#include "VXMetaDataSource.h"
#include "VXSearchTerms.h"
#include "VXSQLiteConnection.h"
#include "VXURLStrings.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

VXFoundObject foundIn(const VXSQLiteStatement &row)
{
    VXFoundObject object{.uri = QUrl(u"x-coredata://"_s + row.text(0)),
                         .kind = row.text(1),
                         .title = row.text(2),
                         .detail = row.text(3)};
    if (!row.value(4).isNull())
        object.date = QDateTime::fromMSecsSinceEpoch(row.number(4), Qt::UTC);
    return object;
}

} // namespace

QUrl VXFoundObject::url() const
{
    const QStringList parts = uri.path().split(u'/');
    return VXMakePhonebookURL(uri.host(), parts.value(1), parts.value(2));
}

QUrl VXFoundObject::uriForURL(const QUrl &url)
{
    static const QRegularExpression object(u"^/[^/]+/p[0-9]+$"_s);
    if (url.scheme() != "vxbook"_L1 || url.host() == "localhost"_L1 || !object.match(url.path()).hasMatch())
        return {};
    return QUrl(u"x-coredata://"_s + url.host() + url.path());
}

std::optional<QList<VXFoundObject>> VXSearchIndex::find(const QString &words, const QString &kind, qsizetype limit,
                                                        VXError *error)
{
    const VXSearchTerms terms(words);
    if (!terms.problem().isNull()) {
        VXSetError(error, VXMakeError(terms.problem()));
        return std::nullopt;
    }
    QList<VXFoundObject> found;
    if (!terms.digits().isNull() && !collectNumbers(terms.digits(), kind, limit, &found, error))
        return std::nullopt;
    const QStringList &all = terms.words();
    const auto isMoreWanted = [&] { return !all.isEmpty() && found.size() < limit; };
    for (const auto match : {VXSearchTerms::Match::Whole, VXSearchTerms::Match::Prefix}) {
        if (isMoreWanted() && !collectWords(VXSearchTerms::expression(all, match, kind), limit, &found, error))
            return std::nullopt;
    }
    for (const VXSearchTerms::Reading &reading : terms.readings()) {
        if (isMoreWanted() && !collectReading(reading, kind, limit, &found, error))
            return std::nullopt;
    }
    for (const VXSearchTerms::Reading &reading :
         QList<VXSearchTerms::Reading>{{.words = all, .ends = {}}} + terms.readings()) {
        if (isMoreWanted() && kind != "contact"_L1 && !collectOfContacts(reading, kind, limit, &found, error))
            return std::nullopt;
    }
    std::ranges::for_each(found, [this](VXFoundObject &object) { nameParties(&object); });
    return found;
}

bool VXSearchIndex::collectWords(const QString &expression, qsizetype limit, QList<VXFoundObject> *found,
                                 VXError *error)
{
    VXSQLiteStatement statement = _connection->statement(
        u"SELECT object, entry.kind, title, detail, date FROM words JOIN entry ON entry.id = words.rowid "
        "WHERE words MATCH ? ORDER BY words.rowid DESC LIMIT ?"_s,
        error);
    if (!statement)
        return false;
    statement.bindText(1, expression);
    statement.bindNumber(2, limit + found->size()); // those may be among them
    return collect(statement, limit, found, error);
}

bool VXSearchIndex::collectReading(const VXSearchTerms::Reading &reading, const QString &kind, qsizetype limit,
                                   QList<VXFoundObject> *found, VXError *error)
{
    QStringList sets; // of entries, each of which has to have one that is found
    QStringList values;
    const auto add = [&](const QString &set, const QStringList &its) {
        sets.append("SELECT * FROM ("_L1 + set + u')');
        values += its;
    };
    const auto matching = [](const QStringList &words) {
        return VXSearchTerms::expression(words, VXSearchTerms::Match::Prefix);
    };
    const QString byNumber = u"SELECT entry FROM number WHERE reversed >= ? AND reversed < ?"_s;
    const QString byWord = u"SELECT rowid FROM words WHERE words MATCH ?"_s;
    for (const VXSearchTerms::NumberEnd &end : reading.ends) {
        const QString first = reversed(end.digits);
        const QString behind = first + u':'; // follows the digits
        if (end.word.isNull())
            add(byNumber, {first, behind});
        else
            add(byNumber + " UNION ALL "_L1 + byWord, {first, behind, matching({end.word})});
    }
    if (!reading.words.isEmpty())
        add(byWord, {matching(reading.words)});
    VXSQLiteStatement statement = _connection->statement(
        "SELECT object, kind, title, detail, date FROM entry WHERE id IN ("_L1 + sets.join(" INTERSECT "_L1) +
            ") AND coalesce(kind = ?, 1) ORDER BY id DESC LIMIT ?"_L1,
        error);
    if (!statement)
        return false;
    values.append(kind);
    int parameter = 0;
    for (const QString &value : std::as_const(values))
        statement.bindText(++parameter, value);
    statement.bindNumber(++parameter, limit + found->size()); // those may be among them
    return collect(statement, limit, found, error);
}

bool VXSearchIndex::collectNumbers(const QString &digits, const QString &kind, qsizetype limit,
                                   QList<VXFoundObject> *found, VXError *error)
{
    const QString conditions[] = {
        u"reversed = ?1 AND (?3 IS NULL OR entry.kind = ?3) ORDER BY number.entry DESC LIMIT ?4"_s, // as they lie there
        u"reversed > ?1 AND reversed < ?2 AND (?3 IS NULL OR entry.kind = ?3) "
        "GROUP BY entry.id ORDER BY entry.id DESC LIMIT ?4"_s,
    };
    const QString first = reversed(digits);
    const QString behind = first + u':'; // follows the digits
    return std::ranges::all_of(conditions, [&](const QString &condition) {
        VXSQLiteStatement statement = _connection->statement(
            u"SELECT object, entry.kind, title, detail, date FROM number CROSS JOIN entry ON entry.id = number.entry "
            "WHERE "_s +
                condition,
            error);
        if (!statement)
            return false;
        statement.bindText(1, first);
        statement.bindText(2, behind);
        statement.bindText(3, kind);
        statement.bindNumber(4, limit + found->size()); // those may be among them
        return found->size() >= limit || collect(statement, limit, found, error);
    });
}

bool VXSearchIndex::collect(VXSQLiteStatement &statement, qsizetype limit, QList<VXFoundObject> *found, VXError *error)
{
    QSet<QUrl> known;
    for (const VXFoundObject &object : std::as_const(*found))
        known.insert(object.uri);
    VXSQLiteStatement::Step step = VXSQLiteStatement::Step::Row;
    while (found->size() < limit && (step = statement.step()) == VXSQLiteStatement::Step::Row) {
        const VXFoundObject object = foundIn(statement);
        if (known.contains(object.uri))
            continue;
        known.insert(object.uri);
        found->append(object);
    }
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection->lastError());
    return step != VXSQLiteStatement::Step::Failed;
}

// By the name of its file, which there is an index of; in each of the few folders.
std::optional<VXFoundObject> VXSearchIndex::object(const QUrl &uri, VXError *error)
{
    const QStringList parts = uri.path().split(u'/');
    VXSQLiteStatement statement =
        _connection->statement(u"SELECT object, kind, title, detail, date FROM folder CROSS JOIN entry "
                               "ON entry.folder = folder.id AND entry.name = ?1 WHERE object = ?2"_s,
                               error);
    if (!statement || parts.size() != 3)
        return std::nullopt;
    const QString name = VXMetaDataFilename(parts[2], parts[1]);
    const QString object = uri.host() + uri.path();
    statement.bindText(1, name);
    statement.bindText(2, object);
    const VXSQLiteStatement::Step step = statement.step();
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection->lastError());
    if (step != VXSQLiteStatement::Step::Row)
        return std::nullopt;
    VXFoundObject found = foundIn(statement);
    nameParties(&found);
    return found;
}
