#include "VXSearchIndex.h"

#include "VXErrorDomain.h"
#include "VXMetaDataSource.h"
#include "VXMethodLog.h"
#include "VXPartyNames.h"
#include "VXSearchEntries.h"
#include "VXSearchIndexFile.h"
#include "VXSearchQuery.h"
#include "VXSearchTerms.h"
#include "VXSQLiteConnection.h"

#include <algorithm>

using namespace Qt::StringLiterals;

VXSearchIndex::VXSearchIndex(std::unique_ptr<VXSQLiteConnection> connection)
    : _connection(std::move(connection)), _file(presentFileMark())
{
}

VXSearchIndex::~VXSearchIndex() = default;

std::unique_ptr<VXSearchIndex> VXSearchIndex::made(std::unique_ptr<VXSQLiteConnection> connection)
{
    return connection ? std::unique_ptr<VXSearchIndex>(new VXSearchIndex(std::move(connection))) : nullptr;
}

std::unique_ptr<VXSearchIndex> VXSearchIndex::open(VXError *error)
{
    return made(VXSearchIndexFile::open(error));
}

std::unique_ptr<VXSearchIndex> VXSearchIndex::openExisting(VXError *error)
{
    return made(VXSearchIndexFile::openExisting(error));
}

QString VXSearchIndex::path()
{
    return VXSearchIndexFile::path();
}

VXSearchIndex::FileMark VXSearchIndex::presentFileMark()
{
    return VXSearchIndexFile::presentMark();
}

bool VXSearchIndex::isDamage(const VXError &error)
{
    return VXSearchIndexFile::isDamage(error);
}

bool VXSearchIndex::discardIfDamaged(const VXError &error)
{
    return VXSearchIndexFile::discardIfDamaged(error);
}

void VXSearchIndex::discard()
{
    VXSearchIndexFile::discard();
}

// Returns the first column of the first row; none if there is no row, and, with an error, on failure. `folder`: the
// only parameter, unless null.
std::optional<qint64> VXSearchIndex::number(const QString &sql, const QString &folder, VXError *error)
{
    VXSQLiteStatement statement = _connection->statement(sql, error);
    if (!statement)
        return std::nullopt;
    if (!folder.isNull())
        statement.bindText(1, folder);
    const VXSQLiteStatement::Step step = statement.step();
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection->lastError());
    return step == VXSQLiteStatement::Step::Row ? std::optional(statement.number(0)) : std::nullopt;
}

bool VXSearchIndex::runFor(const QString &folder, const QString &sql, VXError *error)
{
    VXSQLiteStatement statement = _connection->statement(sql, error);
    if (!statement)
        return false;
    statement.bindText(1, folder);
    const bool isDone = statement.run();
    if (!isDone)
        VXSetError(error, _connection->lastError());
    return isDone;
}

bool VXSearchIndex::isComplete(const QString &folder, VXError *error)
{
    return number(u"SELECT isComplete FROM folder WHERE name = ?"_s, folder, error).value_or(0) != 0;
}

QByteArray VXSearchIndex::stamp(const QString &folder, VXError *error)
{
    VXSQLiteStatement statement = _connection->statement(u"SELECT stamp FROM folder WHERE name = ?"_s, error);
    if (!statement)
        return {};
    statement.bindText(1, folder);
    const VXSQLiteStatement::Step step = statement.step();
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection->lastError());
    return step == VXSQLiteStatement::Step::Row ? statement.text(0).toUtf8() : QByteArray();
}

void VXSearchIndex::giveBackFree()
{
    constexpr qint64 fewestFree = 1'000; // pages of 4 KB
    constexpr qint64 mostUsed = 5'000;   // copied, in memory, in a fraction of a second
    const qint64 all = number(u"PRAGMA page_count"_s, {}, nullptr).value_or(0);
    const qint64 free = number(u"PRAGMA freelist_count"_s, {}, nullptr).value_or(0);
    if (free < fewestFree || free < all / 2 || all - free > mostUsed)
        return;
    VXError error; // the next one tries it again
    const bool isReady = _connection->execute(u"PRAGMA busy_timeout = 0"_s, &error);
    const auto isLogEmpty = [this] { return number(u"PRAGMA wal_checkpoint(TRUNCATE)"_s, {}, nullptr) == 0; };
    if (isReady && isLogEmpty() && _connection->execute(u"INSERT INTO words (words) VALUES ('optimize')"_s, &error) &&
        isLogEmpty())
        static_cast<void>(_connection->execute(u"VACUUM"_s, &error));
    static_cast<void>(_connection->execute(u"PRAGMA busy_timeout = %1"_s.arg(VXSearchIndexFile::busyTimeout.count()),
                                           isReady ? &error : nullptr));
    if (error)
        VXLogMethod(VXLogNotice, "giveBackFree", error.description());
}

bool VXSearchIndex::isAllComplete(VXError *error)
{
    return number(u"SELECT min(isComplete) FROM folder"_s, {}, error).value_or(0) != 0;
}

bool VXSearchIndex::settleAll(const QStringList &folders, VXError *error)
{
    const bool areComplete =
        std::ranges::all_of(folders, [&](const QString &folder) { return isComplete(folder, error); });
    return areComplete && _connection->execute(u"DELETE FROM folder WHERE name = ''"_s, error);
}

bool VXSearchIndex::isSound(VXError *error)
{
    VXError problem;
    const bool areWordsSound =
        _connection->execute(u"INSERT INTO words (words, rank) VALUES ('integrity-check', 1)"_s, &problem);
    const auto strayAddresses =
        number(u"SELECT (SELECT count(*) FROM address) - coalesce(sum(json_array_length(addresses)), 0) "
               "FROM entry WHERE json_valid(addresses)"_s,
               {}, areWordsSound ? &problem : nullptr);
    if (areWordsSound && strayAddresses == 0)
        return true;
    VXSetError(error, isDamage(problem)
                          ? VXSearchIndexFile::damage(u"The words of the index are not those of its entries."_s)
                      : problem ? problem
                                : VXSearchIndexFile::damage(u"The index has other addresses than its entries."_s));
    return false;
}

bool VXSearchIndex::hasStrays(VXError *error)
{
    return number(u"SELECT EXISTS (SELECT 1 FROM entry WHERE folder NOT IN (SELECT id FROM folder))"_s, {}, error)
               .value_or(0) != 0;
}

qint64 VXSearchIndex::count(const QString &folder, VXError *error)
{
    return number(u"SELECT count(*) FROM entry WHERE folder = (SELECT id FROM folder WHERE name = ?)"_s, folder, error)
        .value_or(-1);
}

bool VXSearchIndex::setComplete(const QString &folder, bool isComplete, VXError *error)
{
    return runFor(folder,
                  isComplete ? u"INSERT INTO folder (name, isComplete, stamp) VALUES (?1, 1, hex(randomblob(8))) "
                               "ON CONFLICT (name) DO UPDATE SET isComplete = 1, stamp = excluded.stamp"_s
                             : u"INSERT INTO folder (name, isComplete) VALUES (?1, 0) "
                               "ON CONFLICT (name) DO UPDATE SET isComplete = 0"_s,
                  error);
}

bool VXSearchIndex::beginChanges(const QString &folder, VXError *error)
{
    return setComplete(folder, false, error);
}

bool VXSearchIndex::endChanges(const QString &folder, VXError *error)
{
    return setComplete(folder, true, error);
}

bool VXSearchIndex::inTransaction(const std::function<bool(VXError *)> &work, VXError *error)
{
    if (!_connection->execute(u"BEGIN IMMEDIATE"_s, error))
        return false;
    if (work(error) && _connection->execute(u"COMMIT"_s, error))
        return true;
    static_cast<void>(_connection->execute(u"ROLLBACK"_s, nullptr));
    return false;
}

bool VXSearchIndex::removeFolder(const QString &folder, VXError *error)
{
    return inTransaction(
        [&](VXError *problem) {
            return VXSearchEntries(*_connection).takeOutAll(folder, problem) && setComplete(folder, false, problem);
        },
        error);
}

bool VXSearchIndex::forgetFolder(const QString &folder, VXError *error)
{
    return inTransaction(
        [&](VXError *problem) {
            return VXSearchEntries(*_connection).takeOutAll(folder, problem) &&
                   runFor(folder, u"DELETE FROM folder WHERE name = ?1"_s, problem) &&
                   runFor(u""_s, u"INSERT OR IGNORE INTO folder (name, isComplete) VALUES (?1, 0)"_s, problem);
        },
        error);
}

QStringList VXSearchIndex::folders(VXError *error)
{
    QStringList names;
    VXSQLiteStatement statement = _connection->statement(u"SELECT name FROM folder WHERE name <> ''"_s, error);
    VXSQLiteStatement::Step step = VXSQLiteStatement::Step::Row;
    while (statement && (step = statement.step()) == VXSQLiteStatement::Step::Row)
        names.append(statement.text(0));
    if (step == VXSQLiteStatement::Step::Failed)
        VXSetError(error, _connection->lastError());
    return names;
}

bool VXSearchIndex::apply(const QString &folder, const QList<Change> &changes, VXError *error)
{
    return inTransaction(
        [&](VXError *problem) {
            if (!runFor(folder, u"INSERT OR IGNORE INTO folder (name, isComplete) VALUES (?1, 0)"_s, problem))
                return false;
            const auto id = number(u"SELECT id FROM folder WHERE name = ?"_s, folder, problem);
            return id && VXSearchEntries(*_connection).apply(*id, changes, problem);
        },
        error);
}

std::optional<bool> VXSearchIndex::says(const QString &folder, const Change &change, VXError *error)
{
    VXError problem;
    const auto id = number(u"SELECT id FROM folder WHERE name = ?"_s, folder, &problem);
    if (!problem && id)
        return VXSearchEntries(*_connection).has(*id, change, error);
    VXSetError(error, problem);
    return problem ? std::nullopt : std::optional(false);
}

// FTS5 keeps this setting in the file: if the process is killed before endMany(), it holds until the next one.
bool VXSearchIndex::setMerging(bool isMerging, VXError *error)
{
    return _connection->execute(isMerging ? u"INSERT INTO words (words, rank) VALUES ('automerge', 4)"_s
                                          : u"INSERT INTO words (words, rank) VALUES ('automerge', 0)"_s,
                                error);
}

std::optional<QList<VXFoundObject>> VXSearchIndex::find(const QString &words, const Scope &scope, qsizetype limit,
                                                        VXError *error)
{
    const VXSearchTerms terms(words);
    if (!terms.problem().isNull()) {
        VXSetError(error, VXMakeError(terms.problem()));
        return std::nullopt;
    }
    std::optional<QList<VXFoundObject>> found = VXSearchQuery(*_connection, scope, limit).run(terms, error);
    if (found) {
        VXPartyNames names(*_connection);
        std::ranges::for_each(*found, [&names](VXFoundObject &object) { names.nameParties(&object); });
    }
    return found;
}

// Looks the object up by the name of its file, which is indexed, in each of the few folders.
std::optional<VXFoundObject> VXSearchIndex::object(const QUrl &uri, VXError *error)
{
    const QStringList parts = uri.path().split(u'/');
    VXSQLiteStatement statement = _connection->statement(
        VXSearchQuery::columns + u"FROM folder CROSS JOIN entry "
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
    VXFoundObject found = VXSearchQuery::foundIn(statement);
    VXPartyNames(*_connection).nameParties(&found);
    return found;
}
