#include "VXFileHandle.h"

#include <QtCore/QFile>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

std::shared_ptr<VXFileHandle> VXFileHandle::fileHandleForAppendingAtPath(const QString &path)
{
    // O_APPEND seeks to the end within each write, so that writers with handles of their own do not overwrite
    // each other's lines.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    return std::shared_ptr<VXFileHandle>(new VXFileHandle(descriptor));
}

VXFileHandle::~VXFileHandle()
{
    if (_descriptor >= 0)
        ::close(_descriptor);
}

bool VXFileHandle::writeData(QByteArrayView data, QString *reason)
{
    while (!data.isEmpty()) {
        const ssize_t written = ::write(_descriptor, data.data(), static_cast<size_t>(data.size()));
        if (written >= 0) {
            data = data.sliced(written);
        } else if (errno != EINTR) {
            *reason = qt_error_string(errno);
            return false;
        }
    }
    return true;
}
