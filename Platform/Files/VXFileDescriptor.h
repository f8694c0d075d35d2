#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArrayView>

#include <utility>

/** Writes all bytes. False, with errno set, on failure; some bytes may have been written. */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXWriteAll(int descriptor, QByteArrayView bytes);
/** The same from an offset on, without moving the file position. */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXWriteAllAt(int descriptor, qint64 offset, QByteArrayView bytes);

/** A file descriptor that is closed with this object. One thread at a time. */
class VX_PLATFORM_EXPORT VXFileDescriptor
{
public:
    /** Takes ownership of the result of open(2) and similar calls; a negative number means none. */
    explicit VXFileDescriptor(int number = -1) : _number(number) {}
    ~VXFileDescriptor() { close(); }
    VXFileDescriptor(VXFileDescriptor &&other) noexcept : _number(other.release()) {}
    VXFileDescriptor &operator=(VXFileDescriptor &&other) noexcept;

    bool isOpen() const { return _number >= 0; }
    /** The number, -1 for none; this object keeps the ownership. */
    int number() const { return _number; }
    /** Gives up the ownership: the caller has to close it. */
    [[nodiscard]] int release() { return std::exchange(_number, -1); }
    /** False, with errno set, when the file system reports an earlier failure; the file is closed in any case. */
    bool close();

    [[nodiscard]] bool writeAll(QByteArrayView bytes) const { return VXWriteAll(_number, bytes); }
    [[nodiscard]] bool writeAllAt(qint64 offset, QByteArrayView bytes) const
    {
        return VXWriteAllAt(_number, offset, bytes);
    }

private:
    int _number;
};
