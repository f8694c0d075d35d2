#pragma once

#include "VXFileDescriptor.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>
#include <utility>

/**
 * An open, writable file. Appending is what it is for: every write goes to the end of the file, also when others
 * have written meanwhile. One thread at a time. Subclasses may stand in for files that fail.
 */
class VX_PLATFORM_EXPORT VXFileHandle
{
public:
    /** Opens an existing file for appending; null on failure, errno then tells why. */
    [[nodiscard]] static std::shared_ptr<VXFileHandle> fileHandleForAppendingAtPath(const QString &path);

    virtual ~VXFileHandle();
    VXFileHandle(const VXFileHandle &) = delete;
    VXFileHandle &operator=(const VXFileHandle &) = delete;

    /** Writes all bytes at the end of the file. On failure false, and `reason` tells why; some may be written. */
    [[nodiscard]] virtual bool writeData(QByteArrayView data, QString *reason);

protected:
    explicit VXFileHandle(VXFileDescriptor file) : _file(std::move(file)) {}

private:
    const VXFileDescriptor _file;
};
