#include "VXExportFile.h"

#include "VXAtomicFile.h"
#include "VXFileStamp.h"
#include "VXFramework.h"
#include "VXMethodLog.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr qsizetype bufferSize = 256 * 1024;
constexpr auto longestWait = 30s; // for somebody else's export

bool isSameFile(const VXFileStamp &a, const VXFileStamp &b)
{
    return a.exists() && b.exists() && a.device == b.device && a.inode == b.inode;
}

/** The head of the data that restores a file; it is followed by the bytes that were overwritten, and an end mark. */
struct Undo
{
    quint64 mark = 0;
    quint64 inode = 0; // of the file
    qint64 size = 0;   // its former size
    qint64 start = 0;  // where writing began
    qint64 overwritten = 0;
};
constexpr quint64 undoMark = 0x5658556e646f3031; // "VXUndo01"
constexpr QByteArrayView undoEnd = "end\n";

// The path of a hidden file beside the exported one.
QByteArray besidePath(const QString &path, QLatin1StringView extension)
{
    const QFileInfo info(path);
    return QFile::encodeName(u"%1/.%2%3"_s.arg(info.path(), info.fileName(), extension));
}

// In other people's folders anybody may have put a file there.
bool isOwnFile(const QByteArray &path)
{
    struct stat status = {};
    return ::lstat(path.constData(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
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
    if (_lock && _lock->isHeld() && !_isCommitted)
        takeBack();
}

// The lock is on the file itself, so that it works for everyone who may write there, and leaves nothing behind. The
// file may have been replaced or removed while waiting for its lock: then the one there now is locked.
bool VXExportFile::openLocked(QString *reason)
{
    while (true) {
        _wasThere = QFileInfo::exists(_path);
        _file = VXFileDescriptor(
            ::open(QFile::encodeName(_path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666));
        if (!_file.isOpen()) {
            *reason = qt_error_string(errno);
            return false;
        }
        struct stat status = {};
        if (::fstat(_file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
            *reason = VXLocalizedString(u"It is no regular file."_s);
            return false;
        }
        _lock = std::make_unique<VXFileLock>(_file.number(), longestWait);
        if (!_lock->isHeld()) {
            *reason = _lock->isTimedOut() ? VXLocalizedString(u"Another program is writing to it."_s) : _lock->reason();
            return false;
        }
        const VXFileStamp locked = VXFileStamp::ofDescriptor(_file.number());
        if (isSameFile(locked, VXFileStamp::ofPath(_path))) {
            _wasThere = _wasThere || locked.size > 0; // another export may have made it in the meantime
            _oldSize = _mode == Mode::Append ? locked.size : 0;
            _path = QFileInfo(_path).canonicalFilePath();
            return true;
        }
        _lock.reset();
        _file.close();
    }
}

bool VXExportFile::begin(QString *reason)
{
    if (!undoTornExport(reason))
        return false;
    _start = _position = _oldSize;
    return _mode == Mode::Append || beginReplacement(reason);
}

// It always has the same name: the remains of a killed process are removed, and nobody else writes there while the lock
// is held.
bool VXExportFile::beginReplacement(QString *reason)
{
    struct stat status = {};
    const QByteArray path = besidePath(_path, ".replacement"_L1);
    if (isOwnFile(path))
        ::unlink(path.constData());
    if (::fstat(_file.number(), &status) == 0)
        _replacementFile =
            VXFileDescriptor(::open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (_replacementFile.isOpen())
        _replacement = path;
    // Permission bits that others have set on their file must not allow the new one to be run as its owner, or to be
    // written to.
    const mode_t kept = status.st_uid == ::geteuid() ? 0777 : 0644;
    if (_replacementFile.isOpen() && ::fchmod(_replacementFile.number(), status.st_mode & kept) == 0)
        return true;
    *reason = qt_error_string(errno);
    return false;
}

// -- What a killed process leaves behind

// Done before anything is written: keeps how long the file was, and the bytes that will be overwritten. It counts only
// if it is complete, and only for the file that it was made for. If it cannot be made in the folder, the export
// continues without it.
void VXExportFile::keepUndo()
{
    const QByteArray path = besidePath(_path, ".undo"_L1);
    struct stat status = {};
    if (isOwnFile(path))
        ::unlink(path.constData());
    const VXFileDescriptor file(::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen() || ::fstat(_file.number(), &status) != 0)
        return;
    const Undo undo{undoMark, status.st_ino, _oldSize, _start, _overwritten.size()};
    QByteArray bytes(reinterpret_cast<const char *>(&undo), sizeof undo);
    bytes.append(_overwritten);
    bytes.append(undoEnd.data(), undoEnd.size());
    if (!file.writeAll(bytes) || ::fsync(file.number()) != 0)
        ::unlink(path.constData()); // half of it is useless
    else
        synchronizeFolder(); // it must be there before the file changes, in case the power fails
}

void VXExportFile::removeUndo() const
{
    const QByteArray path = besidePath(_path, ".undo"_L1);
    if (isOwnFile(path))
        ::unlink(path.constData());
}

bool VXExportFile::undoTornExport(QString *reason)
{
    const QByteArray path = besidePath(_path, ".undo"_L1);
    if (!isOwnFile(path))
        return true;
    QFile file(QFile::decodeName(path));
    const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    Undo undo;
    struct stat status = {};
    const bool isWhole = bytes.size() >= qsizetype(sizeof undo) && bytes.endsWith(undoEnd);
    if (isWhole)
        std::memcpy(&undo, bytes.constData(), sizeof undo);
    const bool isMeant = isWhole && undo.mark == undoMark && ::fstat(_file.number(), &status) == 0 &&
                         undo.inode == status.st_ino && undo.size >= 0 && undo.start >= 0 &&
                         undo.overwritten == bytes.size() - qsizetype(sizeof undo) - undoEnd.size() &&
                         status.st_size >= undo.start;
    if (isMeant) {
        VXLogMethod(VXLogWarning, "open",
                    u"An export to \"%1\" was cut off; the file is brought back to %2 bytes"_s.arg(
                        _path, QString::number(undo.size)));
        if (!_file.writeAllAt(undo.start, QByteArrayView(bytes).sliced(sizeof undo, undo.overwritten)) ||
            ::ftruncate(_file.number(), undo.size) != 0 || ::fsync(_file.number()) != 0) {
            *reason = qt_error_string(errno);
            return false;
        }
        _oldSize = _mode == Mode::Append ? undo.size : 0;
    }
    removeUndo();
    return true;
}

// -- Reading and writing

QByteArray VXExportFile::oldBytes(qint64 offset, qint64 count)
{
    QByteArray bytes(std::clamp<qint64>(_oldSize - offset, 0, count), Qt::Uninitialized);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const auto rest = static_cast<size_t>(bytes.size() - done);
        const ssize_t read = ::pread(_file.number(), bytes.data() + done, rest, offset + done);
        if (read < 0 && errno == EINTR)
            continue;
        if (read <= 0) {
            errno = read == 0 ? EIO : errno; // shortened by a program that ignores the lock
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
    if (!std::exchange(_isTouched, true) && _replacement.isEmpty())
        keepUndo();
    if (!output().writeAllAt(_position, _buffer))
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
    if ((isShorter && ::ftruncate(_file.number(), _position) != 0) || ::fsync(_file.number()) != 0)
        return fail();
    removeUndo();
    // Otherwise a power failure might bring the undo file back, and the next export would remove this one.
    synchronizeFolder();
    return true;
}

bool VXExportFile::finishReplacing()
{
    if (::fsync(_replacementFile.number()) != 0 ||
        ::rename(_replacement.constData(), QFile::encodeName(_path).constData()) != 0)
        return fail();
    synchronizeFolder();
    return true;
}

// A new or renamed file is permanent only once its folder is on the disk. That it was written is true in any case.
void VXExportFile::synchronizeFolder() const
{
    if (!VXSynchronizeFolderOf(_path))
        VXLogMethod(VXLogWarning, "commit",
                    u"The folder of \"%1\" could not be brought to the disk: %2"_s.arg(_path, qt_error_string(errno)));
}

bool VXExportFile::fail()
{
    if (_problem == 0)
        _problem = errno;
    return false;
}

void VXExportFile::takeBack()
{
    if (!_replacement.isEmpty())
        ::unlink(_replacement.constData());
    if (!_wasThere) {
        ::unlink(QFile::encodeName(_path).constData());
        if (_replacement.isEmpty())
            removeUndo();
        return;
    }
    if (!_isTouched || !_replacement.isEmpty())
        return;
    if (isAsBefore() || (_file.writeAllAt(_start, _overwritten) && ::ftruncate(_file.number(), _oldSize) == 0 &&
                         ::fsync(_file.number()) == 0))
        removeUndo();
    else // otherwise the next export tries again
        VXLogMethod(VXLogError, "takeBack",
                    u"\"%1\" could not be brought back to %2 bytes: %3"_s.arg(_path, QString::number(_oldSize),
                                                                              qt_error_string(errno)));
}

// For example if even the first byte could not be written: then nothing should be written to a disk that may be full.
bool VXExportFile::isAsBefore()
{
    struct stat status = {};
    const bool hasSize = ::fstat(_file.number(), &status) == 0 && status.st_size == _oldSize;
    return hasSize && oldBytes(_start, _overwritten.size()) == _overwritten;
}
