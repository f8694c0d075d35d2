#include "VXExportFile.h"

#include "VXFileStamp.h"
#include "VXFramework.h"
#include "VXMethodLog.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr qsizetype bufferSize = 256 * 1024;
constexpr auto longestWait = 30s; // for an export of somebody else

bool isSameFile(const VXFileStamp &a, const VXFileStamp &b)
{
    return a.exists() && b.exists() && a.device == b.device && a.inode == b.inode;
}

bool writeAll(int descriptor, QByteArrayView bytes, qint64 offset)
{
    while (!bytes.isEmpty()) {
        const ssize_t count = ::pwrite(descriptor, bytes.data(), static_cast<size_t>(bytes.size()), offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            errno = count == 0 ? ENOSPC : errno;
            return false;
        }
        bytes = bytes.sliced(count);
        offset += count;
    }
    return true;
}

// A new or renamed file is there for good once its folder is on the disk. Not every file system can do that.
void synchronizeFolder(const QString &path)
{
    const int folder = ::open(QFile::encodeName(QFileInfo(path).path()).constData(), O_RDONLY | O_CLOEXEC);
    if (folder < 0)
        return;
    ::fsync(folder);
    ::close(folder);
}

} // namespace

std::unique_ptr<VXExportFile> VXExportFile::open(const QString &path, Mode mode, QString *reason)
{
    std::unique_ptr<VXExportFile> file(new VXExportFile(path, mode));
    if (!file->openLocked(reason) || !file->begin(reason))
        return nullptr;
    return file;
}

VXExportFile::~VXExportFile()
{
    if (_output >= 0 && !_isCommitted)
        takeBack();
    if (_descriptor >= 0)
        ::close(_descriptor);
}

// The lock is on the file itself, so that it serves whoever may write there, and leaves nothing behind. The file may
// have been replaced or removed while its lock was waited for: then the one there now is locked.
bool VXExportFile::openLocked(QString *reason)
{
    while (true) {
        _wasThere = QFileInfo::exists(_path);
        _descriptor = ::open(QFile::encodeName(_path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
        if (_descriptor < 0) {
            *reason = qt_error_string(errno);
            return false;
        }
        struct stat status = {};
        if (::fstat(_descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
            *reason = VXLocalizedString(u"It is no regular file."_s);
            return false;
        }
        _lock = std::make_unique<VXFileLock>(_descriptor, longestWait);
        if (!_lock->isHeld()) {
            *reason = _lock->isTimedOut() ? VXLocalizedString(u"Another program is writing to it."_s) : _lock->reason();
            return false;
        }
        const VXFileStamp locked = VXFileStamp::ofDescriptor(_descriptor);
        if (isSameFile(locked, VXFileStamp::ofPath(_path))) {
            _wasThere = _wasThere || locked.size > 0; // another export may have made it meanwhile
            _oldSize = _mode == Mode::Append ? locked.size : 0;
            _path = QFileInfo(_path).canonicalFilePath();
            return true;
        }
        _lock.reset();
        ::close(std::exchange(_descriptor, -1));
    }
}

bool VXExportFile::begin(QString *reason)
{
    _start = _position = _oldSize;
    if (_mode == Mode::Append) {
        _output = _descriptor;
        return true;
    }
    struct stat status = {};
    const QFileInfo info(_path);
    QByteArray path = QFile::encodeName(u"%1/.%2.XXXXXX"_s.arg(info.path(), info.fileName()));
    _output = ::fstat(_descriptor, &status) == 0 ? ::mkostemp(path.data(), O_CLOEXEC) : -1;
    if (_output >= 0)
        _replacement = path;
    if (_output >= 0 && ::fchmod(_output, status.st_mode & 07777) == 0)
        return true;
    *reason = qt_error_string(errno);
    return false;
}

QByteArray VXExportFile::oldBytes(qint64 offset, qint64 count)
{
    QByteArray bytes(std::clamp<qint64>(_oldSize - offset, 0, count), Qt::Uninitialized);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const auto rest = static_cast<size_t>(bytes.size() - done);
        const ssize_t read = ::pread(_descriptor, bytes.data() + done, rest, offset + done);
        if (read < 0 && errno == EINTR)
            continue;
        if (read <= 0) {
            errno = read == 0 ? EIO : errno; // shortened by a program that knows no lock
            fail();
            return {};
        }
        done += read;
    }
    return bytes;
}

void VXExportFile::writeFrom(qint64 offset)
{
    _overwritten = oldBytes(offset, _oldSize - offset);
    _start = _position = offset;
}

bool VXExportFile::write(QByteArrayView bytes)
{
    _buffer.append(bytes);
    return _buffer.size() < bufferSize ? _problem == 0 : flush();
}

bool VXExportFile::flush()
{
    if (_problem != 0)
        return false;
    _isTouched = true;
    if (!writeAll(_output, _buffer, _position))
        return fail();
    _position += _buffer.size();
    _buffer.clear();
    return true;
}

bool VXExportFile::commit(QString *reason)
{
    const bool isDone = flush() && (_replacement.isEmpty() ? finishAppending() : finishReplacing());
    if (isDone)
        _isCommitted = true;
    else
        *reason = qt_error_string(_problem);
    return isDone;
}

bool VXExportFile::finishAppending()
{
    const bool isShorter = _position < _oldSize;
    if ((isShorter && ::ftruncate(_output, _position) != 0) || ::fsync(_output) != 0)
        return fail();
    if (!_wasThere)
        synchronizeFolder(_path);
    return true;
}

bool VXExportFile::finishReplacing()
{
    if (::fsync(_output) != 0 || ::rename(_replacement.constData(), QFile::encodeName(_path).constData()) != 0)
        return fail();
    ::close(_output);
    synchronizeFolder(_path);
    return true;
}

bool VXExportFile::fail()
{
    if (_problem == 0)
        _problem = errno;
    return false;
}

void VXExportFile::takeBack()
{
    if (!_replacement.isEmpty()) {
        ::close(_output);
        ::unlink(_replacement.constData());
    }
    if (!_wasThere) {
        ::unlink(QFile::encodeName(_path).constData());
        return;
    }
    if (_isTouched && _replacement.isEmpty() &&
        (!writeAll(_output, _overwritten, _start) || ::ftruncate(_output, _oldSize) != 0 || ::fsync(_output) != 0)) {
        VXLogMethod(VXLogError, "takeBack",
                    u"\"%1\" could not be brought back to %2 bytes: %3"_s.arg(_path, QString::number(_oldSize),
                                                                              qt_error_string(errno)));
    }
}
