#include "VXFileHandle.h"

#include <QtCore/QFile>

#include <cerrno>
#include <fcntl.h>

std::shared_ptr<VXFileHandle> VXFileHandle::fileHandleForAppendingAtPath(const QString &path)
{
    // O_APPEND seeks to the end within each write, so that writers with handles of their own do not overwrite each
    // other's lines.
    VXFileDescriptor file(::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!file.isOpen())
        return nullptr;
    return std::shared_ptr<VXFileHandle>(new VXFileHandle(std::move(file)));
}

VXFileHandle::~VXFileHandle() = default;

bool VXFileHandle::writeData(QByteArrayView data, QString *reason)
{
    if (_file.writeAll(data))
        return true;
    *reason = qt_error_string(errno);
    return false;
}
