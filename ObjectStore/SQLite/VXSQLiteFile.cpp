#include "VXSQLiteFile.h"

#include "VXAtomicFile.h"
#include "VXCopyWatch.h"
#include "VXObjectStoreError.h"
#include "VXPropertyList.h"
#include "VXRegularFile.h"
#include "VXStoreErrors.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>

#include <algorithm>
#include <array>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using Access = VXSQLiteConnection::Access;
using Code = VXObjectStoreErrorCode;
using Step = VXSQLiteStatement::Step;

namespace {

// "The Database Header" of the SQLite file format, https://www.sqlite.org/fileformat2.html
constexpr qsizetype headerSize = 100;
constexpr qsizetype textEncodingOffset = 56;
constexpr qsizetype userVersionOffset = 60;
constexpr qsizetype applicationIDOffset = 68;
constexpr qint32 inUTF16LE = 2; // the text encoding
// "The Rollback Journal", "The Write-Ahead Log" and "WAL-Index Format" there; of the log all bits but the last
constexpr quint64 journalBegin = 0xd9d505f920a163d7;
constexpr quint32 logBegin = 0x377f0682;
constexpr quint32 logIndexBegin = 3007000; // in the byte order of the machine

constexpr qint64 maximumEntityNumber = 100000;
constexpr int stepsBetweenAsking = 100'000; // of SQLite, whether a copy is to go on

bool fail(Code code, const QString &description, const QString &reason, const QString &path, VXError *error)
{
    VXSetError(error, VXObjectStoreError(code, description, reason, path));
    return false;
}

bool isForeign(const QString &reason, const QString &path, VXError *error)
{
    return fail(Code::FileCorrupt, u"The store is damaged, or no store at all."_s, reason, path, error);
}

// From its first transaction on, the file has the header of a store.
bool isHeaderOfStore(const QString &path, VXError *error)
{
    QFile file(path);
    if (QString reason; !VXRegularFile::open(file, &reason))
        return fail(Code::FileRead, u"The store cannot be read."_s,
                    QFileInfo(path).isDir() ? u"It is a folder."_s : reason, path, error);
    const QByteArray header = file.read(headerSize);
    if (!header.startsWith("SQLite format 3") || header.size() < headerSize)
        return isForeign(u"It does not begin as an SQLite file."_s, path, error);
    if (qFromBigEndian<qint32>(header.constData() + applicationIDOffset) != VXSQLiteSchema::applicationID)
        return isForeign(u"The SQLite file belongs to another program."_s, path, error);
    if (qFromBigEndian<qint32>(header.constData() + userVersionOffset) > VXSQLiteSchema::formatVersion)
        return fail(Code::IncompatibleStoreType, u"The store cannot be read."_s,
                    u"It was written by a later version of this software."_s, path, error);
    // The order of texts, by which they are found, is that of their bytes.
    if (qFromBigEndian<qint32>(header.constData() + textEncodingOffset) != inUTF16LE)
        return fail(Code::IncompatibleStoreType, u"The store cannot be read."_s,
                    u"Its texts are not in UTF-16LE: another program has made the file."_s, path, error);
    return true;
}

// A file that is already open in this process is a store.
bool hasHeader(const QString &path, VXError *error)
{
    bool isStore = true;
    VXSQLiteConnection::whileNotOpenHere(path, [&] { isStore = isHeaderOfStore(path, error); });
    return isStore;
}

// What lies beside a file while SQLite uses it, and beside where it was when its user died.
constexpr std::array logEnds{"-journal"_L1, "-wal"_L1, "-shm"_L1};

void removeWithLogs(const QString &path)
{
    QFile::remove(path);
    for (const QLatin1StringView end : logEnds)
        QFile::remove(path + end);
}

// Whether it begins as a journal, a log or the index of one does, or with zeros, as when it is empty; no file of the user's.
bool isLog(const QString &path)
{
    QFile file(path);
    QString reason;
    if (!VXRegularFile::open(file, &reason))
        return false;
    const QByteArray start = file.read(sizeof(quint64)).leftJustified(sizeof(quint64), '\0');
    const auto begin = qFromBigEndian<quint64>(start.constData());
    return begin == 0 || begin == journalBegin || (begin >> 33) == (logBegin >> 1) ||
           qFromUnaligned<quint32>(start.constData()) == logIndexBegin;
}

bool removeLogs(const QString &path, VXError *error)
{
    for (const QLatin1StringView end : logEnds) {
        const QString log = path + end;
        const QByteArray name = QFile::encodeName(log);
        if (const QFileInfo there(log); !there.exists() && !there.isSymLink())
            continue;
        const bool isOurs = isLog(log);
        if (isOurs && (::unlink(name.constData()) == 0 || errno == ENOENT))
            continue;
        const QString reason =
            isOurs ? qt_error_string() : u"it is no log of SQLite, or what a crash left of one; move it away"_s;
        VXSetError(error, VXStoreWriteError(path, u"\"%1\", which lies there already, cannot be removed: %2"_s.arg(
                                                      QFileInfo(log).fileName(), reason)));
        return false;
    }
    return true;
}

/** An open folder; none when it cannot be opened. */
class Folder
{
public:
    explicit Folder(const QString &path)
        : _descriptor(::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
    }
    ~Folder()
    {
        if (_descriptor >= 0)
            ::close(_descriptor); // releases the lock
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    void lock() const { ::flock(_descriptor, LOCK_EX); } // held while a store is being made

private:
    const int _descriptor;
};

// Creates an empty file for the user only; SQLite gives the files beside it the same mode.
bool makePrivate(const QString &path, VXError *error)
{
    const VXFileDescriptor file(
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen())
        VXSetError(error, VXStoreWriteError(path, errno));
    return file.isOpen();
}

// The log mode is set last: so the file itself identifies a store from the first transaction on. Closing syncs
// everything to disk.
bool writeNew(const QString &path, const VXSQLiteSchema &schema, const VXManagedObjectModel &model,
              const QVariantMap &metadata, std::chrono::milliseconds busyTimeout, VXError *error)
{
    const auto connection =
        makePrivate(path, error) ? VXSQLiteConnection::open(path, Access::Write, busyTimeout, nullptr, error) : nullptr;
    VXSQLiteFile::Contents none;
    // The encoding can be set only while the file is empty; texts then need no conversion.
    return connection && connection->execute(u"PRAGMA encoding = 'UTF-16le'"_s, error) &&
           connection->execute(u"PRAGMA synchronous = FULL"_s, error) &&
           connection->execute(u"BEGIN IMMEDIATE"_s, error) &&
           connection->execute(u"PRAGMA application_id = %1"_s.arg(VXSQLiteSchema::applicationID), error) &&
           connection->execute(u"PRAGMA user_version = %1"_s.arg(VXSQLiteSchema::formatVersion), error) &&
           VXSQLiteFile::extend(*connection, schema, model, none, error) &&
           VXSQLiteFile::writeMetadata(*connection, metadata, error) && connection->execute(u"COMMIT"_s, error) &&
           connection->execute(u"PRAGMA journal_mode = WAL"_s, error);
}

// Begins to read only the file, as it is now: a reader of a file with an empty log keeps it from being changed, and new
// saves go to the log. None when this is not possible, because other readers or writers keep the log from being
// emptied.
bool beginReadingWithoutLog(VXSQLiteConnection &source, const QString &path, VXError *error)
{
    constexpr int tries = 3;
    const auto isLogEmpty = [&] { return QFileInfo(path + "-wal"_L1).size() == 0; };
    // Not longer, since waiting for readers blocks all writers.
    if (!source.execute(u"PRAGMA busy_timeout = 200"_s, error))
        return false;
    for (int attempt = 0; attempt < tries; ++attempt) {
        if (!source.execute(u"PRAGMA wal_checkpoint(TRUNCATE)"_s, error) || !source.execute(u"BEGIN"_s, error) ||
            source.textOf(u"SELECT COUNT(*) FROM sqlite_master"_s, error).isNull())
            return false;
        if (isLogEmpty())
            return true;
        source.execute(u"ROLLBACK"_s, nullptr);
    }
    return false;
}

// As fast as copying a file, and without blocking others. None when that is not possible.
std::optional<bool> copyBytes(const QString &path, const QString &to, std::chrono::milliseconds busyTimeout,
                              VXError *error)
{
    if (!hasHeader(path, error))
        return false;
    const auto source = VXSQLiteConnection::open(path, Access::Write, busyTimeout, nullptr, error);
    if (!source)
        return false;
    if (!beginReadingWithoutLog(*source, path, error))
        return std::nullopt;
    if (!makePrivate(to, error))
        return false;
    const VXFileDescriptor file(::open(QFile::encodeName(to).constData(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.isOpen())
        VXSetError(error, VXStoreWriteError(to, errno));
    return file.isOpen() && source->copyFileTo(file, error);
}

// A single read transaction. VACUUM keeps the file's numbers, version and application ID, and syncs. It copies damage
// that it does not notice.
bool copyDatabase(const QString &path, const QString &to, std::chrono::milliseconds busyTimeout, VXError *error)
{
    {
        const auto source = VXSQLiteFile::openForReading(path, busyTimeout, nullptr, error);
        const QString copy = u"VACUUM INTO '%1'"_s.arg(QString(to).replace("'"_L1, "''"_L1));
        if (!source || !makePrivate(to, error) ||
            !source->execute(
                copy, stepsBetweenAsking, [] { return VXCopyWatch::note(0); }, error))
            return false;
    }
    const auto copied = VXSQLiteConnection::open(to, Access::Write, busyTimeout, nullptr, error);
    const QString check = u"SELECT group_concat(quick_check, ' ') FROM pragma_quick_check(10)"_s;
    const QString found = copied ? copied->textOf(check, error) : QString();
    if (!found.isNull() && found != "ok"_L1)
        return isForeign(found, path, error);
    return !found.isNull() && copied->execute(u"PRAGMA synchronous = FULL"_s, error) &&
           copied->execute(u"PRAGMA journal_mode = WAL"_s, error);
}

// With the folder locked, and nothing at the path: a log that lies there would be played into the new file.
bool moveInPlace(const QString &from, const QString &path, VXError *error)
{
    if (!removeLogs(path, error))
        return false;
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(path).constData()) == 0) {
        static_cast<void>(VXSynchronizeFolderOf(path)); // a failure only makes it less durable
        return true;
    }
    VXSetError(error, VXStoreWriteError(path, errno));
    return false;
}

// Errors about the temporary file are reported for the file it is to become.
VXError renamed(const VXError &error, const QString &path)
{
    return VXObjectStoreError(Code(error.code()), error.localizedDescription(), error.localizedRecoverySuggestion(),
                              path);
}

bool isFolderWritable(const QString &path)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(QFileInfo(path).path()).constData(), W_OK, AT_EACCESS) == 0;
}

bool readExisting(VXSQLiteConnection &connection, VXSQLiteSchema::Existing &existing, VXError *error)
{
    VXSQLiteStatement rows =
        connection.statement(u"SELECT 0, m.name, p.name, p.type FROM sqlite_master m JOIN pragma_table_info(m.name) p "
                             "WHERE m.type = 'table' UNION ALL "
                             "SELECT 1, name, NULL, NULL FROM sqlite_master WHERE type = 'index'"_s,
                             error);
    if (!rows)
        return false;
    Step at = rows.step();
    for (; at == Step::Row; at = rows.step()) {
        if (rows.number(0) != 0)
            existing.indexes.insert(rows.text(1));
        else
            existing.columns[rows.text(1)].insert(rows.text(2), rows.text(3));
    }
    if (at == Step::Failed)
        VXSetError(error, connection.lastError());
    return at == Step::Done;
}

bool readMetadataRows(VXSQLiteConnection &connection, QVariantMap &metadata, VXError *error)
{
    VXSQLiteStatement rows = connection.statement(u"SELECT Z_KEY, Z_VALUE FROM Z_METADATA"_s, error);
    if (!rows)
        return false;
    Step at = rows.step();
    for (; at == Step::Row; at = rows.step()) {
        const QVariant value = VXPropertyList::fromData(rows.data(1), error);
        if (!value.isValid())
            return false;
        metadata.insert(rows.text(0), value);
    }
    if (at == Step::Failed)
        VXSetError(error, connection.lastError());
    return at == Step::Done;
}

bool readEntities(VXSQLiteConnection &connection, QMap<QString, int> &numbers, VXError *error)
{
    VXSQLiteStatement rows = connection.statement(u"SELECT Z_ENT, Z_NAME FROM Z_ENTITY"_s, error);
    if (!rows)
        return false;
    Step at = rows.step();
    for (; at == Step::Row; at = rows.step()) {
        if (rows.number(0) < 1 || rows.number(0) > maximumEntityNumber) {
            VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileCorrupt,
                                                     u"The number of an entity is out of range."_s));
            return false;
        }
        numbers.insert(rows.text(1), int(rows.number(0)));
    }
    if (at == Step::Failed)
        VXSetError(error, connection.lastError());
    return at == Step::Done;
}

bool addEntities(VXSQLiteConnection &connection, const VXManagedObjectModel &model, QMap<QString, int> &numbers,
                 VXError *error)
{
    VXSQLiteStatement insertion =
        connection.statement(u"INSERT INTO Z_ENTITY (Z_ENT, Z_NAME) VALUES (?1, ?2)"_s, error);
    if (!insertion)
        return false;
    int highest = numbers.isEmpty() ? 0 : *std::max_element(numbers.cbegin(), numbers.cend());
    for (const VXEntityDescription *const entity : model.entities()) {
        if (numbers.contains(entity->name()))
            continue;
        numbers.insert(entity->name(), ++highest);
        insertion.bindNumber(1, highest);
        insertion.bindText(2, entity->name());
        if (!insertion.run()) {
            VXSetError(error, connection.lastError());
            return false;
        }
    }
    return true;
}

VXError damageOf(const VXError &problem, const QString &path)
{
    return !problem.filePath().isNull()
               ? problem
               : VXObjectStoreError(Code::FileCorrupt, u"The store is damaged, or no store at all."_s,
                                    problem.description(), path);
}

} // namespace

bool VXSQLiteFile::isMissing(const QString &path)
{
    const QFileInfo file(path);
    return !file.exists() || (file.isFile() && file.size() == 0);
}

std::unique_ptr<VXSQLiteConnection> VXSQLiteFile::openForReading(const QString &path,
                                                                 std::chrono::milliseconds busyTimeout,
                                                                 std::atomic<qint64> *executions, VXError *error)
{
    if (!hasHeader(path, error))
        return nullptr;
    // A file without a log is read without creating anything beside it.
    Access access = QFile::exists(path + "-wal"_L1) ? accessForReaders(path) : Access::Immutable;
    if (access == Access::Query)
        access = Access::Read; // a file that is no store stays unchanged
    if (QFileInfo(path + "-journal"_L1).size() > 0)
        access = Access::Write; // an interrupted transaction is rolled back first
    return VXSQLiteConnection::open(path, access, busyTimeout, executions, error);
}

VXSQLiteConnection::Access VXSQLiteFile::accessForReaders(const QString &path)
{
    const bool isLogEmpty = QFileInfo(path + "-wal"_L1).size() == 0;
    return isLogEmpty && !isFolderWritable(path) ? Access::Immutable : Access::Query;
}

std::optional<VXSQLiteFile::Contents> VXSQLiteFile::read(VXSQLiteConnection &connection, const QString &path,
                                                         VXError *error, const Contents *earlier)
{
    Contents contents;
    contents.schemaVersion = connection.textOf(u"PRAGMA schema_version"_s, error);
    if (contents.schemaVersion.isNull())
        return std::nullopt;
    if (earlier != nullptr && earlier->schemaVersion == contents.schemaVersion)
        contents.existing = earlier->existing;
    else if (!readExisting(connection, contents.existing, error))
        return std::nullopt;
    VXError problem;
    if (readMetadataRows(connection, contents.metadata, &problem) &&
        readEntities(connection, contents.entityNumbers, &problem))
        return contents;
    VXSetError(error, damageOf(problem, path));
    return std::nullopt;
}

std::optional<QVariantMap> VXSQLiteFile::readMetadata(VXSQLiteConnection &connection, const QString &path,
                                                      VXError *error)
{
    QVariantMap metadata;
    VXError problem;
    if (readMetadataRows(connection, metadata, &problem))
        return metadata;
    VXSetError(error, damageOf(problem, path));
    return std::nullopt;
}

bool VXSQLiteFile::create(const QString &path, const VXSQLiteSchema &schema, const VXManagedObjectModel &model,
                          const QVariantMap &metadata, std::chrono::milliseconds busyTimeout, VXError *error)
{
    const QFileInfo place(path);
    const Folder folder(place.path());
    folder.lock();
    if (!isMissing(path)) // another process has made it meanwhile
        return true;
    const QString aside = place.path() + "/."_L1 + place.fileName() + ".new"_L1;
    removeWithLogs(aside); // left by a process that was killed
    VXError problem;
    if (writeNew(aside, schema, model, metadata, busyTimeout, &problem) && moveInPlace(aside, path, &problem))
        return true;
    removeWithLogs(aside);
    VXSetError(error, renamed(problem, path));
    return false;
}

bool VXSQLiteFile::copy(const QString &path, const QString &to, bool mayWrite, std::chrono::milliseconds busyTimeout,
                        VXError *error)
{
    const QFileInfo place(to);
    const Folder folder(place.path());
    folder.lock();
    if (QFileInfo::exists(to) || place.isSymLink()) {
        VXSetError(error, VXStoreWriteError(to, u"There is something already."_s));
        return false;
    }
    const QString aside = place.path() + "/."_L1 + place.fileName() + ".new"_L1;
    removeWithLogs(aside);
    VXError problem;
    bool isReady = false;
    const std::optional<bool> isCopied = mayWrite ? copyBytes(path, aside, busyTimeout, &problem) : std::nullopt;
    if (isCopied.value_or(false) || (!isCopied && copyDatabase(path, aside, busyTimeout, &problem)))
        isReady = true;
    if (isReady && moveInPlace(aside, to, &problem))
        return true;
    removeWithLogs(aside);
    VXSetError(error, renamed(problem, to));
    return false;
}

bool VXSQLiteFile::writeMetadata(VXSQLiteConnection &connection, const QVariantMap &changes, VXError *error)
{
    VXSQLiteStatement writing =
        connection.statement(u"INSERT OR REPLACE INTO Z_METADATA (Z_KEY, Z_VALUE) VALUES (?1, ?2)"_s, error);
    VXSQLiteStatement removal = connection.statement(u"DELETE FROM Z_METADATA WHERE Z_KEY = ?1"_s, error);
    if (!writing || !removal)
        return false;
    for (auto entry = changes.cbegin(); entry != changes.cend(); ++entry) {
        VXSQLiteStatement &change = entry->isValid() ? writing : removal;
        QByteArray value; // bound without a copy
        if (entry->isValid()) {
            value = VXPropertyList::toData(*entry, VXPropertyList::Format::Binary, error);
            if (value.isNull())
                return false;
            change.bindData(2, value);
        }
        change.bindText(1, entry.key());
        if (!change.run()) {
            VXSetError(error, connection.lastError());
            return false;
        }
    }
    return true;
}

bool VXSQLiteFile::extend(VXSQLiteConnection &connection, const VXSQLiteSchema &schema,
                          const VXManagedObjectModel &model, Contents &contents, VXError *error)
{
    const VXSQLiteSchema::Additions additions = schema.additions(contents.existing);
    for (const QString &statement : additions.tables + additions.indexes) {
        if (!connection.execute(statement, error))
            return false;
    }
    return addEntities(connection, model, contents.entityNumbers, error);
}
