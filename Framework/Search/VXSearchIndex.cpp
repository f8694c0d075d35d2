#include "VXSearchIndex.h"

#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXMakeWay.h"
#include "VXMethodLog.h"
#include "VXObjectStoreError.h"
#include "VXPhoneNumber.h"
#include "VXSearchTerms.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds busyTimeout = 2s; // what is put in at once takes a tenth of that
constexpr qint64 entriesOfAMoment = 1 << 16;          // IDs for what has one date
constexpr qint64 latestDate = qint64(1) << 45;        // in milliseconds, a thousand years on

const QString identifierKey = u"kMDItemIdentifier"_s;
const QString numbersKey = u"kMDItemPhoneNumbers"_s;
const QString descriptionKey = u"kMDItemDescription"_s;

constexpr int version = 2;

// The text is kept beside the index of its words: taking it out needs it. No triggers: connections run none.
constexpr const char *schema[] = {
    "PRAGMA journal_mode = WAL",
    "PRAGMA synchronous = OFF", // it can be made again
    "BEGIN IMMEDIATE",
    "CREATE TABLE IF NOT EXISTS folder (id INTEGER PRIMARY KEY, name TEXT UNIQUE, isComplete INTEGER)",
    "CREATE TABLE IF NOT EXISTS entry (id INTEGER PRIMARY KEY, folder INTEGER, name TEXT, object TEXT, "
    "kind TEXT, title TEXT, detail TEXT, date INTEGER, text TEXT, UNIQUE (folder, name))",
    "CREATE TABLE IF NOT EXISTS number (reversed TEXT, entry INTEGER, PRIMARY KEY (reversed, entry)) WITHOUT ROWID",
    "CREATE INDEX IF NOT EXISTS numberByEntry ON number (entry)",
    "CREATE VIRTUAL TABLE IF NOT EXISTS words USING fts5 (kind, text, content = 'entry', content_rowid = 'id', "
    "prefix = '2 3', columnsize = 0, tokenize = \"unicode61 remove_diacritics 0 categories 'L* N* Co Mc'\")",
    "INSERT OR IGNORE INTO folder (name, isComplete) VALUES ('', 0)", // for those that nobody has named yet
    "PRAGMA user_version = 2",
    "COMMIT",
};

// For the user alone, which SQLite's own would not be. False when there is one.
bool makeFile(const QString &path)
{
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    return VXFileDescriptor(::open(QFile::encodeName(path).constData(), flags, S_IRUSR | S_IWUSR)).isOpen();
}

// Its own, and those that SQLite makes beside it.
constexpr QLatin1String suffixes[] = {""_L1, "-wal"_L1, "-shm"_L1, "-journal"_L1};

bool makeWay(const QString &path)
{
    return std::ranges::all_of(suffixes, [&path](QLatin1String suffix) { return VXMakeWayForFile(path + suffix); });
}

bool isWritableIfThere(const QString &path)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), W_OK, AT_EACCESS) == 0 || errno == ENOENT;
}

// Of what is made anew.
VXError damage(const QString &path, const QString &reason)
{
    return VXObjectStoreError(VXObjectStoreErrorCode::FileCorrupt, reason, {}, path);
}

// Once what is said twice, as a number that is all of the title, and a text that is shown beside it.
QString wordsOf(const QVariantMap &values)
{
    QStringList words;
    for (const auto &[key, value] : values.asKeyValueRange()) {
        if (key == identifierKey || key == "kMDItemCreator"_L1 || key == "kMDItemKind"_L1 || key == descriptionKey)
            continue;
        if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QStringList ||
            value.typeId() == QMetaType::QVariantList)
            words += value.toStringList(); // of a text the list of it
    }
    words.removeDuplicates();
    const QString shown = values.value(descriptionKey).toString();
    const QString text = words.join(u'\n');
    return VXSearchTerms::folded(text.contains(shown) ? text : text + u'\n' + shown);
}

// Null for null.
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

} // namespace

VXSearchIndex::VXSearchIndex(std::unique_ptr<VXSQLiteConnection> connection)
    : _connection(std::move(connection)), _file(presentFileMark())
{
}

VXSearchIndex::FileMark VXSearchIndex::presentFileMark()
{
    struct statx status = {};
    if (::statx(AT_FDCWD, QFile::encodeName(path()).constData(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME,
                &status) != 0)
        return {};
    const qint64 birth = status.stx_btime.tv_sec * 1'000'000'000 + status.stx_btime.tv_nsec;
    return {quint64(status.stx_dev_major) << 32 | status.stx_dev_minor, status.stx_ino, birth};
}

VXSearchIndex::~VXSearchIndex() = default;

QString VXSearchIndex::path()
{
    return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/index.sqlite"_L1;
}

std::unique_ptr<VXSearchIndex> VXSearchIndex::openFile(VXError *error)
{
    auto connection = VXSQLiteConnection::open(path(), VXSQLiteConnection::Access::Create, busyTimeout, nullptr, error);
    if (!connection)
        return nullptr;
    const QString found = connection->textOf(u"PRAGMA user_version"_s, error);
    if (found.isNull())
        return nullptr;
    if (found != "0"_L1 && found.toInt() != version) {
        VXSetError(error, damage(path(), u"The index is of another version."_s));
        return nullptr;
    }
    for (const char *const statement : schema) {
        const bool isDue = found == "0"_L1 || statement == schema[1];
        if (isDue && !connection->execute(QString::fromLatin1(statement), error))
            return nullptr;
    }
    return std::unique_ptr<VXSearchIndex>(new VXSearchIndex(std::move(connection)));
}

std::unique_ptr<VXSearchIndex> VXSearchIndex::open(VXError *error)
{
    QString reason;
    if (!VXMakePrivateFolder(VXFileManager::defaultManager().pathToUserMetadataFolder(), &reason)) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileWrite, reason, {}, path()));
        return nullptr;
    }
    if (!makeWay(path())) {
        VXSetError(error, VXError::platformError(
                              VXPlatformErrorCode::FileWrite,
                              u"What is no file lies in its place, and cannot be moved to the trash."_s, {}, path()));
        return nullptr;
    }
    if (!std::ranges::all_of(suffixes, [](QLatin1String suffix) { return isWritableIfThere(path() + suffix); }))
        discard(); // it stays where its folder cannot be written
    VXError problem;
    makeFile(path());
    std::unique_ptr<VXSearchIndex> index = openFile(&problem);
    if (!index) {
        discardIfDamaged(problem);
        if (makeFile(path()))
            index = openFile(&problem);
    }
    if (index && !index->_connection->execute(u"PRAGMA cache_size = -4096"_s, error)) // however much is to be put in
        return nullptr;
    if (!index)
        VXSetError(error, problem);
    return index;
}

std::unique_ptr<VXSearchIndex> VXSearchIndex::openExisting(VXError *error)
{
    if (!QFile::exists(path()))
        return nullptr;
    VXError problem;
    std::unique_ptr<VXSearchIndex> index = openFile(&problem);
    if (!index)
        index = openReadOnly();
    if (!index)
        VXSetError(error, problem);
    return index;
}

// Where nothing can be made beside it, it is as it lies there: unless its log has more, which needs that.
std::unique_ptr<VXSearchIndex> VXSearchIndex::openReadOnly()
{
    using Access = VXSQLiteConnection::Access;
    for (const Access access : {Access::Read, Access::Immutable}) {
        if (access == Access::Immutable && QFileInfo(path() + "-wal"_L1).size() > 0)
            break;
        auto connection = VXSQLiteConnection::open(path(), access, busyTimeout, nullptr, nullptr);
        if (connection && connection->textOf(u"PRAGMA user_version"_s, nullptr).toInt() == version)
            return std::unique_ptr<VXSearchIndex>(new VXSearchIndex(std::move(connection)));
    }
    return nullptr;
}

bool VXSearchIndex::isDamage(const VXError &error)
{
    return error.domain() == VXCocoaErrorDomain && error.code() == int(VXObjectStoreErrorCode::FileCorrupt);
}

bool VXSearchIndex::discardIfDamaged(const VXError &error)
{
    if (!isDamage(error))
        return false;
    VXLogClassMethod(VXLogWarning, VXSearchIndex, "discardIfDamaged", "made anew: "_L1 + error.description());
    discard();
    return true;
}

void VXSearchIndex::discard()
{
    for (const QLatin1String suffix : suffixes)
        QFile::remove(path() + suffix);
}

// The first column of the first row; none without one, and on failure, with an error. `folder`: the one parameter, if not null.
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

bool VXSearchIndex::isComplete(const QString &folder, VXError *error)
{
    return number(u"SELECT isComplete FROM folder WHERE name = ?"_s, folder, error).value_or(0) != 0;
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
    if (_connection->execute(u"INSERT INTO words (words, rank) VALUES ('integrity-check', 1)"_s, &problem))
        return true;
    VXSetError(error,
               isDamage(problem) ? damage(path(), u"The words of the index are not those of its entries."_s) : problem);
    return false;
}

qint64 VXSearchIndex::count(const QString &folder, VXError *error)
{
    return number(u"SELECT count(*) FROM entry WHERE folder = (SELECT id FROM folder WHERE name = ?)"_s, folder, error)
        .value_or(-1);
}

bool VXSearchIndex::run(VXSQLiteStatement &statement, VXError *error)
{
    const bool isDone = statement.run();
    if (!isDone)
        VXSetError(error, _connection->lastError());
    return isDone;
}

bool VXSearchIndex::setComplete(const QString &folder, bool isComplete, VXError *error)
{
    VXSQLiteStatement statement = _connection->statement(
        u"INSERT INTO folder (name, isComplete) VALUES (?1, ?2) ON CONFLICT (name) DO UPDATE SET isComplete = ?2"_s,
        error);
    if (!statement)
        return false;
    statement.bindText(1, folder);
    statement.bindNumber(2, isComplete ? 1 : 0);
    return run(statement, error);
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
            return takeOut(
                       u"folder = (SELECT id FROM folder WHERE name = ?1)"_s,
                       [&](VXSQLiteStatement &statement) { statement.bindText(1, folder); }, problem) &&
                   setComplete(folder, false, problem);
        },
        error);
}

bool VXSearchIndex::forgetFolder(const QString &folder, VXError *error)
{
    if (!removeFolder(folder, error))
        return false;
    VXSQLiteStatement statement = _connection->statement(u"DELETE FROM folder WHERE name = ?"_s, error);
    if (!statement)
        return false;
    statement.bindText(1, folder);
    return run(statement, error);
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

// Entries, with their words and numbers.
bool VXSearchIndex::takeOut(const QString &condition, const std::function<void(VXSQLiteStatement &)> &bind,
                            VXError *error)
{
    const QString statements[] = {
        u"INSERT INTO words (words, rowid, kind, text) SELECT 'delete', id, kind, text FROM entry WHERE "_s + condition,
        u"DELETE FROM number WHERE entry IN (SELECT id FROM entry WHERE "_s + condition + u')',
        u"DELETE FROM entry WHERE "_s + condition,
    };
    return std::ranges::all_of(statements, [&](const QString &sql) {
        VXSQLiteStatement statement = _connection->statement(sql, error);
        if (!statement)
            return false;
        bind(statement);
        return run(statement, error);
    });
}

bool VXSearchIndex::apply(const QString &folder, const QList<Change> &changes, VXError *error)
{
    return inTransaction(
        [&](VXError *problem) {
            VXSQLiteStatement make =
                _connection->statement(u"INSERT OR IGNORE INTO folder (name, isComplete) VALUES (?, 0)"_s, problem);
            if (!make)
                return false;
            make.bindText(1, folder);
            if (!run(make, problem))
                return false;
            const auto id = number(u"SELECT id FROM folder WHERE name = ?"_s, folder, problem);
            return id && std::ranges::all_of(changes, [&](const Change &change) { return put(*id, change, problem); });
        },
        error);
}

bool VXSearchIndex::put(qint64 folder, const Change &change, VXError *error)
{
    // Mostly it is a new one, and the only one of its moment.
    const qint64 place = change.values ? placeOf(*change.values) : undated;
    bool isIn = false;
    if (place != undated && !insert(folder, change, place, &isIn, error))
        return false;
    return isIn || replace(folder, change, place, error);
}

bool VXSearchIndex::replace(qint64 folder, const Change &change, qint64 place, VXError *error)
{
    const auto bind = [&](VXSQLiteStatement &statement) {
        statement.bindNumber(1, folder);
        statement.bindText(2, change.name);
    };
    VXSQLiteStatement known = _connection->statement(u"SELECT 1 FROM entry WHERE folder = ?1 AND name = ?2"_s, error);
    if (!known)
        return false;
    bind(known);
    const bool isKnown = known.step() == VXSQLiteStatement::Step::Row;
    known.reset();
    if (isKnown && !takeOut(u"folder = ?1 AND name = ?2"_s, bind, error))
        return false;
    if (!change.values)
        return true;
    bool isIn = false;
    const std::optional<qint64> id = freeID(place, error);
    return id && insert(folder, change, *id, &isIn, error);
}

// The next free one from there on; none on failure.
std::optional<qint64> VXSearchIndex::freeID(qint64 place, VXError *error)
{
    VXSQLiteStatement statement =
        _connection->statement(u"SELECT coalesce(max(id) + 1, ?1) FROM entry WHERE id BETWEEN ?1 AND ?2"_s, error);
    if (!statement)
        return std::nullopt;
    while (true) {
        const qint64 end = place == undated ? std::numeric_limits<qint64>::max() : place + entriesOfAMoment - 1;
        statement.bindNumber(1, place);
        statement.bindNumber(2, end);
        if (statement.step() != VXSQLiteStatement::Step::Row) {
            VXSetError(error, _connection->lastError());
            return std::nullopt;
        }
        const qint64 found = statement.number(0);
        statement.reset();
        if (found <= end)
            return found;
        place = found; // that moment is full
    }
}

// Where an entry stands among others, from its ID on: the later ones come first, and what has no date before all.
qint64 VXSearchIndex::placeOf(const QVariantMap &values)
{
    const QDateTime when = values.value(u"kMDItemContentCreationDate"_s).toDateTime();
    return when.isValid() ? std::clamp<qint64>(when.toMSecsSinceEpoch(), 0, latestDate) * entriesOfAMoment : undated;
}

// Not while there is one of that ID or name.
bool VXSearchIndex::insert(qint64 folder, const Change &change, qint64 id, bool *isIn, VXError *error)
{
    VXSQLiteStatement entry = _connection->statement(
        u"INSERT OR IGNORE INTO entry (folder, name, object, kind, title, detail, date, text, id) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"_s,
        error);
    VXSQLiteStatement words =
        _connection->statement(u"INSERT INTO words (rowid, kind, text) VALUES (?, ?, ?)"_s, error);
    if (!entry || !words)
        return false;
    const QVariantMap &values = *change.values;
    // What is bound lives as long as the statement runs.
    const QByteArray name = change.name.toUtf8();
    const QByteArray object = utf8Of(values.value(identifierKey).toString());
    const QByteArray kind = utf8Of(kindOf(change));
    const QByteArray title = utf8Of(values.value(u"kMDItemTitle"_s).toString());
    const QByteArray detail = utf8Of(values.value(descriptionKey).toString());
    const QByteArray text = utf8Of(wordsOf(values));
    entry.bindNumber(1, folder);
    bindUtf8(entry, 2, name);
    bindUtf8(entry, 3, object);
    bindUtf8(entry, 4, kind);
    bindUtf8(entry, 5, title);
    bindUtf8(entry, 6, detail);
    entry.bindValue(7, values.value(u"kMDItemContentCreationDate"_s));
    bindUtf8(entry, 8, text);
    entry.bindNumber(9, id);
    words.bindNumber(1, id);
    bindUtf8(words, 2, kind);
    bindUtf8(words, 3, text);
    if (!run(entry, error))
        return false;
    *isIn = _connection->changes() > 0;
    return !*isIn || (run(words, error) && putNumbers(id, values, error));
}

QString VXSearchIndex::reversed(const QString &text)
{
    QString result = text;
    std::reverse(result.begin(), result.end());
    return result;
}

bool VXSearchIndex::putNumbers(qint64 id, const QVariantMap &values, VXError *error)
{
    const QStringList numbers = values.value(numbersKey).toStringList();
    if (numbers.isEmpty())
        return true;
    VXSQLiteStatement statement = _connection->statement(u"INSERT OR IGNORE INTO number VALUES (?, ?)"_s, error);
    return statement && std::ranges::all_of(numbers, [&](const QString &number) {
               const QString text = reversed(VXPhoneNumberSearchString(number));
               statement.bindText(1, text);
               statement.bindNumber(2, id);
               return text.isEmpty() || run(statement, error);
           });
}
