#include "VXFileLock.h"

#include <QtCore/QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

VXFileLock::VXFileLock(const QString &path)
    : _descriptor(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
{
    int result = _descriptor;
    while (result >= 0 && ::flock(_descriptor, LOCK_EX) != 0) {
        if (errno != EINTR)
            result = -1;
    }
    if (result >= 0)
        return;
    _reason = qt_error_string(errno);
    if (_descriptor >= 0)
        ::close(_descriptor);
    _descriptor = -1;
}

VXFileLock::~VXFileLock()
{
    if (_descriptor >= 0)
        ::close(_descriptor); // ends the lock
}
