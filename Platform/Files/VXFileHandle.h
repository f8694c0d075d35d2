#pragma once

#include "VXFileDescriptor.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>
#include <utility>

/**
 * An open, writable file for appending: every write goes to the end of the file, even if others have written meanwhile.
 * One thread at a time. Subclasses may simulate files that fail.
 */
class VX_PLATFORM_EXPORT VXFileHandle
{
public:
    /** Opens an existing file for appending; null, with errno set, on failure. */
    [[nodiscard]] static std::shared_ptr<VXFileHandle> fileHandleForAppendingAtPath(const QString &path);

    virtual ~VXFileHandle();
    VXFileHandle(const VXFileHandle &) = delete;
    VXFileHandle &operator=(const VXFileHandle &) = delete;

    /** Appends all bytes. False, with the `reason`, on failure; some bytes may have been written. */
    [[nodiscard]] virtual bool writeData(QByteArrayView data, QString *reason);

protected:
    explicit VXFileHandle(VXFileDescriptor file) : _file(std::move(file)) {}

private:
    const VXFileDescriptor _file;
};
