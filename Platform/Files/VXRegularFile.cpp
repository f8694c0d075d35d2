#include "VXRegularFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

VXFileDescriptor VXRegularFile::open(const QString &path, QString *reason)
{
    // Without O_NONBLOCK, opening a pipe would block.
    const QByteArray name = QFile::encodeName(path);
    VXFileDescriptor file(::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0) {
        *reason = qt_error_string(errno);
        return VXFileDescriptor();
    }
    if (!S_ISREG(status.st_mode)) {
        *reason = S_ISDIR(status.st_mode) ? qt_error_string(EISDIR) : u"It is no regular file."_s;
        return VXFileDescriptor();
    }
    return file;
}

bool VXRegularFile::open(QFile &file, QString *reason)
{
    VXFileDescriptor descriptor = open(file.fileName(), reason);
    if (!descriptor.isOpen())
        return false;
    const int number = descriptor.release();
    if (file.open(number, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return true;
    *reason = file.errorString();
    return VXFileDescriptor(number).close() && false;
}

QByteArray VXRegularFile::read(const QString &path, QString *reason, qint64 limit, VXFileStamp *stamp)
{
    const VXFileDescriptor file = open(path, reason);
    if (!file.isOpen())
        return {};
    const VXFileStamp start = VXFileStamp::ofDescriptor(file.number());
    // One byte more than expected, to notice a file that grows meanwhile.
    QByteArray bytes(std::min(start.size, limit) + 1, Qt::Uninitialized);
    qsizetype size = 0;
    while (true) {
        const ssize_t count = ::read(file.number(), bytes.data() + size, static_cast<size_t>(bytes.size() - size));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            *reason = qt_error_string(errno);
            return {};
        }
        size += count;
        if (size > limit) {
            *reason = u"It is larger than %1 bytes."_s.arg(limit);
            return {};
        }
        if (count == 0)
            break;
        if (size == bytes.size())
            bytes.resize(std::min(2 * size, limit + 1));
    }
    bytes.truncate(size);
    if (stamp != nullptr)
        *stamp = start;
    return bytes;
}
