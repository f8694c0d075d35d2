#include "VXMetaDataFolder.h"

#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXMakeWay.h"
#include "VXMetaDataSource.h"
#include "VXPropertyList.h"
#include "VXRegularFile.h"

#include <QtCore/QFile>
#include <QtCore/QScopeGuard>
#include <QtCore/QUuid>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr char beingWritten[] = ".vornix-new"; // prefix of the names of temporary files

VXError writeError(const QString &path)
{
    return VXError::platformError(VXPlatformErrorCode::FileWrite, QString::fromLocal8Bit(std::strerror(errno)), {},
                                  path);
}

} // namespace

VXMetaDataFolder::VXMetaDataFolder(const QString &identifier)
    : _path(VXFileManager::defaultManager().pathToUserMetadataFolder() + u'/' + identifier),
      _beingWritten(beingWritten + QUuid::createUuid().toByteArray(QUuid::Id128))
{
}

VXError VXMetaDataFolder::open()
{
    QString reason;
    const bool isAbove = VXMakeMetadataFolder(&reason);
    if (isAbove && !VXMakeWayForFolder(_path))
        return VXError::platformError(VXPlatformErrorCode::FileWrite, u"What lies there cannot be moved away."_s, {},
                                      _path);
    if (!isAbove || !VXMakePrivateFolder(_path, &reason))
        return VXError::platformError(VXPlatformErrorCode::FileWrite, reason, {}, _path);
    for (const QString &beside : {lockPath(), originPath()})
        static_cast<void>(VXMakeWayForFile(beside)); // if that fails, whoever opens the file reports it
    return openExisting() ? VXError() : writeError(_path);
}

bool VXMetaDataFolder::openExisting()
{
    _folder =
        VXFileDescriptor(::open(QFile::encodeName(_path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    return _folder.isOpen();
}

bool VXMetaDataFolder::isGone() const
{
    struct stat status = {};
    return ::fstat(_folder.number(), &status) == 0 && status.st_nlink == 0;
}

bool VXMetaDataFolder::forEachName(const std::function<void(const QString &name)> &visit) const
{
    return forEachEntry([&visit](const char *name) { visit(QFile::decodeName(name)); });
}

bool VXMetaDataFolder::forEachEntry(const std::function<void(const char *name)> &visit, bool removesUnfinished) const
{
    // A descriptor of its own, since listing moves the read position.
    VXFileDescriptor descriptor(::openat(_folder.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    DIR *const list = ::fdopendir(descriptor.number());
    if (list == nullptr)
        return false;
    static_cast<void>(descriptor.release()); // now owned by the list
    const auto close = qScopeGuard([list] { ::closedir(list); });
    while (const dirent *const entry = ::readdir(list)) {
        if (entry->d_name[0] != '.')
            visit(entry->d_name);
        else if (removesUnfinished && QByteArrayView(entry->d_name).startsWith(beingWritten))
            ::unlinkat(_folder.number(), entry->d_name, 0);
    }
    return true;
}

QString VXMetaDataFolder::readableName(const char *entry) const
{
    QString name = QFile::decodeName(entry);
    const QByteArray readable = QFile::encodeName(name);
    if (readable != entry)
        ::renameat2(_folder.number(), entry, _folder.number(), readable.constData(), RENAME_NOREPLACE);
    return name;
}

std::optional<qint64> VXMetaDataFolder::modificationTime(const QString &name, bool *isFree) const
{
    return modificationTime(QFile::encodeName(name).constData(), isFree);
}

std::optional<qint64> VXMetaDataFolder::modificationTime(const char *name, bool *isFree) const
{
    struct stat status = {};
    const bool isThere = ::fstatat(_folder.number(), name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (isFree != nullptr)
        *isFree = !isThere && errno == ENOENT;
    if (!isThere || !S_ISREG(status.st_mode))
        return std::nullopt;
    return qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
}

std::optional<QVariantMap> VXMetaDataFolder::read(const QString &name, VXError *error) const
{
    const QVariant values = VXPropertyList::fromFile(pathOf(name), error);
    if (values.typeId() == QMetaType::QVariantMap)
        return values.toMap();
    if (values.isValid())
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"It is no dictionary."_s, {},
                                                 pathOf(name)));
    return std::nullopt;
}

qint64 VXMetaDataFolder::fileCount() const
{
    qint64 count = 0;
    forEachEntry([&count](const char *) { ++count; });
    return count;
}

// Compares bytes: the same values are always written as the same bytes.
std::optional<VXMetaDataFinding::Kind> VXMetaDataFolder::compare(const QString &name, const QVariantMap &values) const
{
    if (!modificationTime(name))
        return VXMetaDataFinding::Kind::Missing;
    const auto bytesOf = [](const QVariantMap &all) {
        return VXPropertyList::toData(all, VXPropertyList::Format::Binary);
    };
    QString reason;
    const QByteArray expected = bytesOf(values);
    if (VXRegularFile::read(pathOf(name), &reason) == expected)
        return std::nullopt;
    const std::optional<QVariantMap> found = read(name);
    if (!found)
        return VXMetaDataFinding::Kind::Damaged;
    if (found->value(VXMetaDataGenerationKey).toLongLong() < VXMetaDataGeneration)
        return VXMetaDataFinding::Kind::Outdated;
    // An earlier program may have written the same values as other bytes.
    return bytesOf(*found) == expected ? std::nullopt : std::optional(VXMetaDataFinding::Kind::Stale);
}

qint64 VXMetaDataFolder::latestTime() const
{
    constexpr qint64 ofAll = std::numeric_limits<qint32>::max(); // seconds, which every file system can hold
    constexpr qint64 beyond = qint64(1) << 45;
    const timespec stamp{.tv_sec = beyond, .tv_nsec = 0};
    const timespec times[] = {stamp, stamp};
    struct stat status = {};
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    const VXFileDescriptor file(::openat(_folder.number(), _beingWritten.constData(), flags, S_IRUSR | S_IWUSR));
    const bool isCut = file.isOpen() && ::futimens(file.number(), times) == 0 && ::fstat(file.number(), &status) == 0;
    ::unlinkat(_folder.number(), _beingWritten.constData(), 0);
    return (isCut ? std::max<qint64>(status.st_mtim.tv_sec, ofAll) : ofAll) * 1000;
}

// Some file systems store whole seconds, or only even ones. Changes between the real and the stored time are owed
// anyway.
bool VXMetaDataFolder::setTime(const VXFileDescriptor &file, qint64 time)
{
    const qint64 seconds = time >= 0 ? time / 1000 : (time - 999) / 1000;
    timespec stamp{.tv_sec = seconds, .tv_nsec = (time - seconds * 1000) * 1000000};
    for (int attempt = 0; attempt < 3; ++attempt) {
        const timespec times[] = {stamp, stamp};
        struct stat status = {};
        if (::futimens(file.number(), times) != 0 || ::fstat(file.number(), &status) != 0)
            return false;
        if (std::tie(status.st_mtim.tv_sec, status.st_mtim.tv_nsec) >= std::tie(stamp.tv_sec, stamp.tv_nsec))
            break;
        stamp = {.tv_sec = stamp.tv_sec + 1, .tv_nsec = 0};
    }
    return true;
}

bool VXMetaDataFolder::write(const QString &name, const QVariantMap &values, std::optional<qint64> time,
                             VXError *error) const
{
    const QByteArray bytes = VXPropertyList::toData(values, VXPropertyList::Format::Binary, error);
    if (bytes.isNull())
        return false;
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    VXFileDescriptor file(::openat(_folder.number(), _beingWritten.constData(), flags, S_IRUSR | S_IWUSR));
    bool isWritten = file.isOpen() && file.writeAll(bytes);
    isWritten = isWritten && (!time || setTime(file, *time));
    isWritten = file.close() && isWritten;
    if (isWritten && ::renameat(_folder.number(), _beingWritten.constData(), _folder.number(),
                                QFile::encodeName(name).constData()) == 0)
        return true;
    VXSetError(error, writeError(pathOf(name)));
    ::unlinkat(_folder.number(), _beingWritten.constData(), 0);
    return false;
}

QByteArray VXMetaDataFolder::origin() const
{
    QString reason;
    return VXRegularFile::read(originPath(), &reason);
}

bool VXMetaDataFolder::setOrigin(const QByteArray &mark) const
{
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    VXFileDescriptor file(::open(QFile::encodeName(originPath()).constData(), flags, S_IRUSR | S_IWUSR));
    const bool isWritten = file.isOpen() && file.writeAll(mark);
    return file.close() && isWritten;
}

bool VXMetaDataFolder::removeOrigin() const
{
    return QFile::remove(originPath()) || !QFile::exists(originPath());
}

bool VXMetaDataFolder::remove(const QString &name) const
{
    return ::unlinkat(_folder.number(), QFile::encodeName(name).constData(), 0) == 0 || errno == ENOENT;
}
