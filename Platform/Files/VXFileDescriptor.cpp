#include "VXFileDescriptor.h"

#include <cerrno>
#include <unistd.h>

namespace {

template <class Write>
bool writeInSteps(QByteArrayView bytes, const Write &write)
{
    while (!bytes.isEmpty()) {
        const ssize_t count = write(bytes);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            errno = count == 0 ? ENOSPC : errno;
            return false;
        }
        bytes = bytes.sliced(count);
    }
    return true;
}

} // namespace

bool VXWriteAll(int descriptor, QByteArrayView bytes)
{
    return writeInSteps(bytes, [descriptor](QByteArrayView rest) {
        return ::write(descriptor, rest.data(), static_cast<size_t>(rest.size()));
    });
}

bool VXWriteAllAt(int descriptor, qint64 offset, QByteArrayView bytes)
{
    const char *const start = bytes.data();
    return writeInSteps(bytes, [descriptor, offset, start](QByteArrayView rest) {
        return ::pwrite(descriptor, rest.data(), static_cast<size_t>(rest.size()), offset + (rest.data() - start));
    });
}

VXFileDescriptor &VXFileDescriptor::operator=(VXFileDescriptor &&other) noexcept
{
    if (this != &other) {
        close();
        _number = other.release();
    }
    return *this;
}

bool VXFileDescriptor::close()
{
    return _number < 0 || ::close(std::exchange(_number, -1)) == 0;
}
