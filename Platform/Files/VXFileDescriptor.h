#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArrayView>

#include <utility>

/** An open file's number in the kernel, which is closed with this object. One thread at a time. */
class VX_PLATFORM_EXPORT VXFileDescriptor
{
public:
    /** Takes over what open(2) and its kin answered; a negative number is none. */
    explicit VXFileDescriptor(int number = -1) : _number(number) {}
    ~VXFileDescriptor() { close(); }
    VXFileDescriptor(VXFileDescriptor &&other) noexcept : _number(other.release()) {}
    VXFileDescriptor &operator=(VXFileDescriptor &&other) noexcept;

    bool isOpen() const { return _number >= 0; }
    /** The number, -1 for none; it still belongs to this object. */
    int number() const { return _number; }
    /** Gives the number away, for the caller to close. */
    [[nodiscard]] int release() { return std::exchange(_number, -1); }
    /** False when the file system reports what it could not do earlier; errno tells why. Closed it is in any case. */
    bool close();

    /** Writes all bytes, in as many steps as it takes. On failure false, errno tells why, and some may be written. */
    [[nodiscard]] bool writeAll(QByteArrayView bytes) const;
    /** As writeAll, from an offset on; where the file is read or written next stays the same. */
    [[nodiscard]] bool writeAllAt(qint64 offset, QByteArrayView bytes) const;

private:
    int _number;
};
