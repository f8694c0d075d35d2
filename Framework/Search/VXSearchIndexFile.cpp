#include "VXSearchIndexFile.h"

#include "VXFileManager.h"
#include "VXMakeWay.h"
#include "VXMetaDataSource.h"
#include "VXMethodLog.h"
#include "VXObjectStoreError.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int version = 8;
// So a program of another generation makes the index anew, and reads what files the other wrote.
static_assert(version == VXMetaDataGeneration + 1);

// The text is stored beside the index of its words because FTS5 needs it to remove an entry. There are no triggers:
// connections do not run them.
constexpr const char *schema[] = {
    "PRAGMA journal_mode = WAL",
    "PRAGMA synchronous = OFF", // the index can be made again
    "BEGIN IMMEDIATE",
    "CREATE TABLE IF NOT EXISTS folder (id INTEGER PRIMARY KEY, name TEXT UNIQUE, isComplete INTEGER, stamp TEXT)",
    // `stamp`: another one whenever a folder becomes complete.
    // `addresses`: a JSON list of what stands in `address`. `parties`: one of [NAME, ADDRESS, TYPE], of a contact its own. `hidden`: VXMetaDataHiding, else 0.
    // `known`: how much is known of a contact. `call`: VXSearchEntries::numberOf.
    ("CREATE TABLE IF NOT EXISTS entry (id INTEGER PRIMARY KEY, folder INTEGER, name TEXT, object TEXT, "
     "kind TEXT, title TEXT, detail TEXT, date INTEGER, text TEXT, addresses TEXT, parties TEXT, hidden INTEGER, known "
     "INTEGER, call INTEGER, "
     "UNIQUE (folder, name))"),
    "CREATE TABLE IF NOT EXISTS address (key TEXT, entry INTEGER, PRIMARY KEY (key, entry)) WITHOUT ROWID",
    ("CREATE VIRTUAL TABLE IF NOT EXISTS words USING fts5 (kind, text, content = 'entry', content_rowid = 'id', "
     "prefix = '2 3', columnsize = 0, tokenize = \"unicode61 remove_diacritics 0 categories 'L* N* Co Mc'\")"),
    "INSERT INTO words (words, rank) VALUES ('hashsize', 4000000)",   // bytes of words that are written at once
    "INSERT OR IGNORE INTO folder (name, isComplete) VALUES ('', 0)", // for those that nobody has named yet
    "PRAGMA user_version = 8",
    "COMMIT",
};

// Creates the file readable for the user only, which SQLite would not do. False when it exists.
bool makeFile(const QString &path)
{
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const VXFileDescriptor file(::open(QFile::encodeName(path).constData(), flags, S_IRUSR | S_IWUSR));
    return file.isOpen() && ::fchmod(file.number(), S_IRUSR | S_IWUSR) == 0; // whatever the process's umask is
}

// Of the database file and those that SQLite makes beside it.
constexpr QLatin1String suffixes[] = {""_L1, "-wal"_L1, "-shm"_L1, "-journal"_L1};

bool makeWay(const QString &path)
{
    return std::ranges::all_of(suffixes, [&path](QLatin1String suffix) { return VXMakeWayForFile(path + suffix); });
}

bool isWritableIfThere(const QString &path)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), W_OK, AT_EACCESS) == 0 || errno == ENOENT;
}

// The type of the file at the path itself (links are not followed); 0 when there is none.
mode_t typeOf(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & mode_t(S_IFMT) : 0;
}

// Creates the tables in an empty database, if `mayMake`.
std::unique_ptr<VXSQLiteConnection> openFile(bool mayMake, VXError *error)
{
    auto connection = VXSQLiteConnection::open(VXSearchIndexFile::path(), VXSQLiteConnection::Access::Create,
                                               VXSearchIndexFile::busyTimeout, nullptr, error);
    if (!connection)
        return nullptr;
    const QString found = connection->textOf(u"PRAGMA user_version"_s, error);
    if (found.isNull() || (found == "0"_L1 && !mayMake))
        return nullptr;
    if (found != "0"_L1 && found.toInt() != version) {
        VXSetError(error, VXSearchIndexFile::damage(u"The index is of another version."_s));
        return nullptr;
    }
    for (const char *const statement : schema) {
        const bool isDue = found == "0"_L1 || statement == schema[1];
        if (isDue && !connection->execute(QString::fromLatin1(statement), error))
            return nullptr;
    }
    return connection;
}

// Where SQLite can create no files beside the database, it is read as immutable; not if its write-ahead log has
// content, as reading that requires such files.
std::unique_ptr<VXSQLiteConnection> openReadOnly()
{
    using Access = VXSQLiteConnection::Access;
    const QString path = VXSearchIndexFile::path();
    for (const Access access : {Access::Read, Access::Immutable}) {
        if (access == Access::Immutable && QFileInfo(path + "-wal"_L1).size() > 0)
            break;
        auto connection = VXSQLiteConnection::open(path, access, VXSearchIndexFile::busyTimeout, nullptr, nullptr);
        if (connection && connection->textOf(u"PRAGMA user_version"_s, nullptr).toInt() == version)
            return connection;
    }
    return nullptr;
}

} // namespace

QString VXSearchIndexFile::path()
{
    return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/index.sqlite"_L1;
}

bool VXSearchIndexFile::isThere()
{
    return typeOf(path()) == S_IFREG && std::ranges::all_of(suffixes, [](QLatin1String suffix) {
               const mode_t type = typeOf(path() + suffix);
               return type == S_IFREG || type == 0;
           });
}

VXSearchIndexFile::Mark VXSearchIndexFile::presentMark()
{
    struct statx status = {};
    if (::statx(AT_FDCWD, QFile::encodeName(path()).constData(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME,
                &status) != 0)
        return {};
    const qint64 birth = status.stx_btime.tv_sec * 1'000'000'000 + status.stx_btime.tv_nsec;
    return {quint64(status.stx_dev_major) << 32 | status.stx_dev_minor, status.stx_ino, birth};
}

std::unique_ptr<VXSQLiteConnection> VXSearchIndexFile::open(VXError *error)
{
    QString reason;
    if (!VXMakeMetadataFolder(&reason)) {
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
        discard(); // remains if its folder cannot be written
    VXError problem;
    makeFile(path());
    std::unique_ptr<VXSQLiteConnection> connection = openFile(true, &problem);
    if (!connection) {
        discardIfDamaged(problem);
        if (makeFile(path()))
            connection = openFile(true, &problem);
    }
    if (connection && !connection->execute(u"PRAGMA cache_size = -4096"_s, error)) // however much is to be inserted
        return nullptr;
    if (!connection)
        VXSetError(error, problem);
    return connection;
}

std::unique_ptr<VXSQLiteConnection> VXSearchIndexFile::openExisting(VXError *error)
{
    if (!isThere())
        return nullptr;
    VXError problem;
    std::unique_ptr<VXSQLiteConnection> connection = openFile(false, &problem);
    if (!connection)
        connection = openReadOnly();
    if (!connection)
        VXSetError(error, problem);
    return connection;
}

VXError VXSearchIndexFile::damage(const QString &reason)
{
    return VXObjectStoreError(VXObjectStoreErrorCode::FileCorrupt, reason, {}, path());
}

bool VXSearchIndexFile::isDamage(const VXError &error)
{
    return error.domain() == VXCocoaErrorDomain && error.code() == int(VXObjectStoreErrorCode::FileCorrupt);
}

bool VXSearchIndexFile::discardIfDamaged(const VXError &error)
{
    if (!isDamage(error) || !discard()) // discard() fails, for example, if the folder cannot be written
        return false;
    VXLogClassMethod(VXLogWarning, VXSearchIndexFile, "discardIfDamaged", "made anew: "_L1 + error.description());
    return true;
}

bool VXSearchIndexFile::discard()
{
    for (const QLatin1String suffix : suffixes)
        QFile::remove(path() + suffix);
    return typeOf(path()) == 0;
}
