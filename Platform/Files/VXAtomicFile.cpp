#include "VXAtomicFile.h"

#include "VXDiagnostics.h"
#include "VXMutex.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRandomGenerator>
#include <QtCore/QSet>

#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype bufferSize = 64 * 1024;
constexpr int mostLinks = 40; // same as the kernel's limit
constexpr auto temporaryPrefix = ".vornix-";
constexpr qsizetype temporaryDigits = 16;

QByteArray folderOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 ? QByteArray() : path.first(slash + 1);
}

// The target of a link, resolved one step; null when it is no link.
QByteArray destinationOf(const QByteArray &path)
{
    std::array<char, PATH_MAX> buffer{};
    const ssize_t size = ::readlink(path.constData(), buffer.data(), buffer.size());
    if (size <= 0)
        return {};
    const QByteArray destination(buffer.data(), size);
    return destination.startsWith('/') ? destination : folderOf(path) + destination;
}

// Temporary files are locked, so the lock ends with the process. False when it belongs to another process, or is gone
// already: somebody may have taken it for a leftover before it was locked. Where files cannot be locked, none is ever
// removed.
bool lockTemporary(const VXFileDescriptor &file)
{
    struct stat status = {};
    const bool isOurs = ::flock(file.number(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
    return isOurs && ::fstat(file.number(), &status) == 0 && status.st_nlink > 0;
}

void removeIfAbandoned(const QByteArray &path)
{
    const VXFileDescriptor file(::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (file.isOpen() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == ::geteuid() && ::flock(file.number(), LOCK_EX | LOCK_NB) == 0)
        ::unlink(path.constData());
}

// Removes what killed processes left in a folder. Once per folder and process: later processes find what is left
// meanwhile.
void removeAbandoned(const QByteArray &folder)
{
    static VXMutex lock;
    static QSet<QByteArray> seen;
    {
        const VXMutexLocker locker(lock);
        if (seen.contains(folder))
            return;
        seen.insert(folder);
    }
    const QString pattern = QLatin1StringView(temporaryPrefix) + QString(temporaryDigits, u'?');
    const QDir place(folder.isEmpty() ? u"."_s : QFile::decodeName(folder));
    for (const QString &name : place.entryList({pattern}, QDir::Files | QDir::Hidden | QDir::NoSymLinks))
        removeIfAbandoned(folder + QFile::encodeName(name));
}

} // namespace

bool VXSynchronizeFolderOf(const QString &path)
{
    const QByteArray folder = folderOf(QFile::encodeName(path));
    const VXFileDescriptor descriptor(
        ::open(folder.isEmpty() ? "." : folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor.isOpen())
        return errno == EACCES; // a folder that may be written but not read cannot be synced
    return ::fsync(descriptor.number()) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

VXAtomicFile::VXAtomicFile(const QString &path, VXFileAccess access) : _path(path), _access(access) {}

VXAtomicFile::~VXAtomicFile()
{
    takeBack();
}

bool VXAtomicFile::fail(int problem)
{
    if (!_isFailed) {
        setErrorString(qt_error_string(problem));
        _problem = problem;
    }
    _isFailed = true;
    return false;
}

bool VXAtomicFile::open(OpenMode)
{
    takeBack();
    _isFailed = _isPrepared = false;
    _problem = 0;
    return findTarget() && makeFileBeside() && QIODevice::open(WriteOnly | Unbuffered);
}

bool VXAtomicFile::findTarget()
{
    _target = QFile::encodeName(_path);
    int links = 0;
    for (QByteArray next = destinationOf(_target); !next.isNull(); next = destinationOf(_target)) {
        if (++links > mostLinks)
            return fail(ELOOP);
        _target = next;
    }
    _mode = 0;
    struct stat status = {};
    if (::stat(_target.constData(), &status) != 0)
        return errno == ENOENT || fail(errno);
    if (S_ISDIR(status.st_mode))
        return fail(EISDIR);
    if (!S_ISREG(status.st_mode)) {
        setErrorString(u"It is no regular file."_s);
        _isFailed = true;
        return false;
    }
    if (_access == VXFileAccess::Shared && status.st_uid == ::geteuid())
        _mode = status.st_mode & 0777;
    return ::faccessat(AT_FDCWD, _target.constData(), W_OK, AT_EACCESS) == 0 || fail(errno);
}

// With a separate name, as one based on the file's could become too long; made by open(2), which applies the umask.
bool VXAtomicFile::makeFileBeside()
{
    constexpr int mostAttempts = 100;
    const QByteArray folder = folderOf(_target);
    removeAbandoned(folder);
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const quint64 number = QRandomGenerator::system()->generate64();
        const QByteArray name =
            folder + temporaryPrefix + QByteArray::number(number, 16).rightJustified(temporaryDigits, '0');
        const mode_t mode = _access == VXFileAccess::Private ? 0600 : 0666;
        _file = VXFileDescriptor(::open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (!_file.isOpen() && errno == EEXIST)
            continue;
        if (!_file.isOpen())
            return fail(errno);
        if (!lockTemporary(_file))
            continue;
        _temporary = name;
        return _mode == 0 || ::fchmod(_file.number(), _mode) == 0 || fail(errno);
    }
    return fail(EEXIST);
}

qint64 VXAtomicFile::writeData(const char *bytes, qint64 count)
{
    if (_isFailed || _isPrepared)
        return -1;
    _buffer.append(bytes, count);
    return _buffer.size() < bufferSize || flush() ? count : -1;
}

bool VXAtomicFile::flush()
{
    if (_isFailed || !_file.writeAll(_buffer))
        return fail(errno);
    _buffer.clear();
    return true;
}

bool VXAtomicFile::prepare()
{
    if (!_file.isOpen() || _isFailed)
        return fail(EBADF);
    if (!_isPrepared)
        _isPrepared = flush() && (::fsync(_file.number()) == 0 || fail(errno));
    return _isPrepared;
}

bool VXAtomicFile::commit()
{
    const bool isDone = prepare() && (::rename(_temporary.constData(), _target.constData()) == 0 || fail(errno));
    if (!isDone) {
        takeBack();
        return false;
    }
    _temporary.clear();
    if (!VXSynchronizeFolderOf(QFile::decodeName(_target)))
        VXReportDiagnostic(
            4, u"The folder of \"%1\" could not be brought to the disk: %2"_s.arg(_path, qt_error_string(errno)));
    takeBack();
    return true;
}

// After a commit, only closes the descriptor.
void VXAtomicFile::takeBack()
{
    if (!_temporary.isEmpty())
        ::unlink(_temporary.constData());
    _temporary.clear();
    _buffer.clear();
    _file.close();
    if (isOpen())
        QIODevice::close();
}

bool VXAtomicFile::replace(const QString &path, QByteArrayView contents, QString *reason, VXFileAccess access,
                           VXFileStamp *stamp)
{
    VXAtomicFile file(path, access);
    const bool isWritten =
        file.open() && file.write(contents.data(), contents.size()) == contents.size() && file.prepare();
    const VXFileStamp written = file.stamp();
    if (!isWritten || !file.commit()) {
        *reason = file.errorString();
        return false;
    }
    if (stamp != nullptr)
        *stamp = written;
    return true;
}
