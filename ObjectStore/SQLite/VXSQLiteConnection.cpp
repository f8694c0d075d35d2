#include "VXSQLiteConnection.h"

#include "VXCopyWatch.h"
#include "VXMutex.h"
#include "VXObjectStoreError.h"
#include "VXSQLiteFunctions.h"
#include "VXStoreErrors.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <algorithm>
#include <cerrno>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maximumStatements = 200; // beyond that, all are discarded

VXObjectStoreErrorCode codeOf(int status)
{
    switch (status & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR: // as the SQL is ours, something that it names is missing
        return VXObjectStoreErrorCode::FileCorrupt;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return VXObjectStoreErrorCode::StoreTimedOut;
    case SQLITE_FULL:
        return VXObjectStoreErrorCode::FileOutOfSpace;
    case SQLITE_READONLY:
    case SQLITE_CONSTRAINT:
    case SQLITE_TOOBIG:
        return VXObjectStoreErrorCode::FileWrite;
    case SQLITE_IOERR:
        return status == SQLITE_IOERR_READ || status == SQLITE_IOERR_SHORT_READ ? VXObjectStoreErrorCode::FileRead
                                                                                : VXObjectStoreErrorCode::FileWrite;
    default:
        return VXObjectStoreErrorCode::FileRead;
    }
}

QString descriptionOf(VXObjectStoreErrorCode code)
{
    switch (code) {
    case VXObjectStoreErrorCode::FileCorrupt:
        return u"The store is damaged, or no store at all."_s;
    case VXObjectStoreErrorCode::StoreTimedOut:
        return u"The store is in use by another process."_s;
    case VXObjectStoreErrorCode::FileOutOfSpace:
        return VXOutOfSpaceDescription();
    case VXObjectStoreErrorCode::FileWrite:
        return u"The store could not be written."_s;
    default:
        return u"The store could not be read."_s;
    }
}

// For files beside the store, such as the index of its log, SQLite reports a full disk like any other failure.
bool isOutOfSpace(sqlite3 *database, int status)
{
    const int problem = (status & 0xFF) == SQLITE_IOERR && database != nullptr ? sqlite3_system_errno(database) : 0;
    return VXIsOutOfSpace(problem);
}

VXError errorOf(sqlite3 *database, int status, const QString &path)
{
    const VXObjectStoreErrorCode code =
        isOutOfSpace(database, status) ? VXObjectStoreErrorCode::FileOutOfSpace : codeOf(status);
    const bool isOfDatabase = database != nullptr && (sqlite3_errcode(database) & 0xff) == (status & 0xff);
    const QString reason = database == nullptr
                               ? u"out of memory"_s
                               : QString::fromUtf8(isOfDatabase ? sqlite3_errmsg(database) : sqlite3_errstr(status));
    const QString description =
        (status & 0xFF) == SQLITE_TOOBIG ? u"A value is too large for the store."_s : descriptionOf(code);
    return VXObjectStoreError(code, description, u"SQLite: %1 (%2)."_s.arg(reason).arg(status), path);
}

} // namespace

namespace {

using FileKey = std::pair<quint64, quint64>;

/** The files that connections of this process have open. */
struct OpenFiles
{
    VXMutex lock;
    QHash<FileKey, int> counts VX_GUARDED_BY(lock);

    static OpenFiles &shared()
    {
        static auto &files = *new OpenFiles;
        return files;
    }

    static FileKey keyOf(const QString &path)
    {
        struct stat status = {};
        return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? FileKey(status.st_dev, status.st_ino)
                                                                         : FileKey();
    }

    void add(const FileKey &key)
    {
        const VXMutexLocker locker(lock);
        ++counts[key];
    }

    void remove(const FileKey &key)
    {
        const VXMutexLocker locker(lock);
        if (--counts[key] == 0)
            counts.remove(key);
    }
};

// Otherwise SQLite counts all memory under one lock, which delays readers. Without effect if somebody else in the
// process used SQLite first.
void countNoMemory()
{
    [[maybe_unused]] static const int status = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
}

} // namespace

VXSQLiteConnection::VXSQLiteConnection(sqlite3 *database, const QString &path, const FileKey &key,
                                       std::atomic<qint64> *executions)
    : _database(database), _path(path), _key(key), _executions(executions)
{
}

bool VXSQLiteConnection::whileNotOpenHere(const QString &path, const std::function<void()> &call)
{
    OpenFiles &files = OpenFiles::shared();
    const VXMutexLocker locker(files.lock); // also keeps it from being opened meanwhile
    if (files.counts.contains(OpenFiles::keyOf(path)))
        return false;
    call();
    return true;
}

// Copies piece by piece, from the page cache if SQLite can map the file. Uses SQLite's own descriptor, because closing
// another one would release the locks that this process has on the file.
bool VXSQLiteConnection::copyFileTo(const VXFileDescriptor &copy, VXError *error)
{
    constexpr qint64 pieceSize = 1 << 20;
    sqlite3_file *file = nullptr;
    sqlite3_int64 size = 0;
    int status = sqlite3_file_control(_database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (status == SQLITE_OK)
        status = file->pMethods->xFileSize(file, &size);
    sqlite3_int64 mapped = size;
    sqlite3_file_control(_database, "main", SQLITE_FCNTL_MMAP_SIZE, &mapped);
    QByteArray read;
    for (sqlite3_int64 at = 0; status == SQLITE_OK && at < size; at += pieceSize) {
        const qint64 length = std::min<qint64>(pieceSize, size - at);
        void *inMemory = nullptr;
        if (file->pMethods->iVersion >= 3)
            status = file->pMethods->xFetch(file, at, int(length), &inMemory);
        if (status == SQLITE_OK && inMemory == nullptr) {
            read.resize(length);
            status = file->pMethods->xRead(file, read.data(), int(length), at);
        }
        const QByteArrayView piece(inMemory == nullptr ? read.constData() : static_cast<const char *>(inMemory),
                                   length);
        if (status == SQLITE_OK && !copy.writeAll(piece))
            status = VXIsOutOfSpace(errno) ? SQLITE_FULL : SQLITE_IOERR_WRITE;
        if (inMemory != nullptr)
            file->pMethods->xUnfetch(file, at, inMemory);
        if (status == SQLITE_OK && !VXCopyWatch::note(length))
            status = SQLITE_INTERRUPT;
    }
    if (status == SQLITE_OK && ::fsync(copy.number()) != 0)
        status = SQLITE_IOERR_FSYNC;
    if (status != SQLITE_OK)
        VXSetError(error, errorOf(_database, status, _path));
    return status == SQLITE_OK;
}

VXSQLiteConnection::~VXSQLiteConnection()
{
    _recent = {};
    _statements.clear();
    _trace.reset();
    sqlite3_close(_database);
    OpenFiles::shared().remove(_key);
    if (_attached)
        OpenFiles::shared().remove(*_attached);
}

bool VXSQLiteConnection::attach(const QString &path, const QString &name, VXError *error)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    VXSQLiteStatement statement(prepare(u"ATTACH DATABASE ?1 AS "_s + name, false, error), _executions,
                                &_bindingStatus);
    if (!statement)
        return false;
    _attached = OpenFiles::keyOf(path);
    OpenFiles::shared().add(*_attached);
    statement.bindText(1, absolute);
    const bool isDone = statement.run();
    if (!isDone)
        VXSetError(error, lastError());
    return isDone;
}

std::unique_ptr<VXSQLiteConnection> VXSQLiteConnection::open(const QString &path, Access access,
                                                             std::chrono::milliseconds busyTimeout,
                                                             std::atomic<qint64> *executions, VXError *error)
{
    // An absolute path, so that SQLite gives no name a special meaning.
    QByteArray name = QFileInfo(path).absoluteFilePath().toUtf8();
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    if (access == Access::Create || access == Access::Write || access == Access::Query)
        flags |= SQLITE_OPEN_READWRITE;
    else
        flags |= SQLITE_OPEN_READONLY;
    if (access == Access::Create)
        flags |= SQLITE_OPEN_CREATE;
    if (access == Access::Immutable) {
        flags |= SQLITE_OPEN_URI;
        name = "file://" + QUrl::toPercentEncoding(QString::fromUtf8(name), "/") + "?immutable=1";
    }
    countNoMemory();
    const FileKey key = OpenFiles::keyOf(path);
    OpenFiles::shared().add(key); // before it has any lock
    sqlite3 *database = nullptr;
    const int status = sqlite3_open_v2(name.constData(), &database, flags, nullptr);
    if (status != SQLITE_OK) {
        VXSetError(error, errorOf(database, status, path));
        sqlite3_close(database);
        OpenFiles::shared().remove(key);
        return nullptr;
    }
    std::unique_ptr<VXSQLiteConnection> connection(new VXSQLiteConnection(database, path, key, executions));
    sqlite3_busy_timeout(database, int(busyTimeout.count()));
    connection->protect();
    if (access == Access::Query)
        sqlite3_exec(database, "PRAGMA query_only = ON", nullptr, nullptr, nullptr);
    VXRegisterSQLiteFunctions(database);
    return connection;
}

// Runs nothing that a file contains, and does not trust damaged data. Makes the settings that belong to each connection
// rather than to the file.
void VXSQLiteConnection::protect()
{
    sqlite3_db_config(_database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(_database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(_database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(_database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_exec(_database, "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY; PRAGMA cache_size = -16384",
                 nullptr, nullptr, nullptr);
}

// Looked at for each statement, as the user may want traces of a program that is running.
void VXSQLiteConnection::followTrace()
{
    if (VXSQLiteTrace::isWanted() != bool(_trace))
        _trace = _trace ? nullptr : std::make_unique<VXSQLiteTrace>(_database);
}

std::shared_ptr<sqlite3_stmt> VXSQLiteConnection::prepare(const QString &sql, bool isKept, VXError *error)
{
    followTrace();
    sqlite3_stmt *prepared = nullptr;
    const int status = sqlite3_prepare16_v3(_database, sql.utf16(), int(qsizetype(sizeof(QChar)) * sql.size()),
                                            isKept ? SQLITE_PREPARE_PERSISTENT : 0U, &prepared, nullptr);
    if (status != SQLITE_OK) {
        VXSetError(error, errorOf(_database, status, _path));
        return nullptr;
    }
    return {prepared, sqlite3_finalize};
}

VXSQLiteStatement VXSQLiteConnection::statement(const QString &sql, VXError *error)
{
    followTrace();
    const auto isSame = [&sql](const Prepared &each) { return each.statement && each.sql.isSharedWith(sql); };
    const auto recent = std::find_if(_recent.cbegin(), _recent.cend(), isSame);
    if (recent != _recent.cend())
        return {recent->statement, _executions, &_bindingStatus};
    const auto found = _statements.constFind(sql);
    if (found != _statements.cend())
        return lent({sql, *found});
    if (_statements.size() >= maximumStatements)
        _statements.clear(); // borrowed statements stay alive
    const std::shared_ptr<sqlite3_stmt> prepared = prepare(sql, true, error);
    if (!prepared)
        return {};
    _statements.insert(sql, prepared);
    return lent({sql, prepared});
}

VXSQLiteStatement VXSQLiteConnection::lent(const Prepared &prepared)
{
    _recent[_next++ % _recent.size()] = prepared;
    return {prepared.statement, _executions, &_bindingStatus};
}

bool VXSQLiteConnection::execute(const QString &sql, VXError *error)
{
    VXSQLiteStatement statement(prepare(sql, false, error), _executions, &_bindingStatus);
    if (!statement)
        return false;
    const bool isDone = statement.run();
    _lastStatus = isDone ? SQLITE_OK : sqlite3_extended_errcode(_database);
    if (!isDone)
        VXSetError(error, lastError());
    return isDone;
}

bool VXSQLiteConnection::execute(const QString &sql, int steps, const std::function<bool()> &goesOn, VXError *error)
{
    const auto ask = [](void *asked) { return (*static_cast<const std::function<bool()> *>(asked))() ? 0 : 1; };
    sqlite3_progress_handler(_database, steps, ask, const_cast<std::function<bool()> *>(&goesOn));
    VXError problem;
    _lastStatus = SQLITE_OK;
    const bool isDone = execute(sql, &problem);
    sqlite3_progress_handler(_database, 0, nullptr, nullptr);
    if (!isDone && (_lastStatus & 0xFF) != SQLITE_INTERRUPT)
        VXSetError(error, problem);
    return isDone;
}

QString VXSQLiteConnection::textOf(const QString &sql, VXError *error)
{
    VXSQLiteStatement statement(prepare(sql, false, error), _executions, &_bindingStatus);
    if (!statement)
        return {};
    const VXSQLiteStatement::Step at = statement.step();
    if (at == VXSQLiteStatement::Step::Failed)
        VXSetError(error, lastError());
    return at == VXSQLiteStatement::Step::Row ? statement.text(0) : QString();
}

int VXSQLiteConnection::changes() const
{
    return sqlite3_changes(_database);
}

bool VXSQLiteConnection::isInTransaction() const
{
    return sqlite3_get_autocommit(_database) == 0;
}

bool VXSQLiteConnection::hasMoved() const
{
    int hasMoved = 0;
    return sqlite3_file_control(_database, "main", SQLITE_FCNTL_HAS_MOVED, &hasMoved) == SQLITE_OK && hasMoved != 0;
}

bool VXSQLiteConnection::isReadOnly() const
{
    return sqlite3_db_readonly(_database, "main") == 1;
}

// The end of a transaction is written last. So it is missing if it was not reached, or an earlier write failed; but it
// may be there if only something after it failed: syncing to disk, or informing other processes.
bool VXSQLiteConnection::mayHaveCommitted() const
{
    const int kind = _lastStatus & 0xFF;
    return kind != SQLITE_OK && kind != SQLITE_BUSY && kind != SQLITE_FULL && kind != SQLITE_CONSTRAINT &&
           _lastStatus != SQLITE_IOERR_WRITE;
}

bool VXSQLiteConnection::isIdentifierTaken() const
{
    return lastStatus() == SQLITE_CONSTRAINT_PRIMARYKEY || lastStatus() == SQLITE_CONSTRAINT_ROWID;
}

int VXSQLiteConnection::lastStatus() const
{
    return _bindingStatus != SQLITE_OK ? _bindingStatus : sqlite3_extended_errcode(_database);
}

VXError VXSQLiteConnection::lastError() const
{
    return errorOf(_database, lastStatus(), _path);
}
