#pragma once

#include "VXFileDescriptor.h"
#include "VXFileStamp.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

/**
 * Reading files of unknown origin, in folders that others may write to as well. Only regular files are read: a pipe or a
 * device, in the place of a file or behind a link, is refused at once instead of waited for or read without an end.
 * Any thread.
 */
class VX_PLATFORM_EXPORT VXRegularFile
{
public:
    /** What is enough for any list, table or entry that a program reads as a whole. */
    static constexpr qint64 generousLimit = 64 * 1024 * 1024;

    /** Opens a file for reading. Not open on failure; `reason` then tells why. Links are followed. */
    [[nodiscard]] static VXFileDescriptor open(const QString &path, QString *reason);
    /** The same for a QFile that has its name and is not open yet; `reason` tells why it failed. */
    [[nodiscard]] static bool open(QFile &file, QString *reason);

    /**
     * All of a file. Null on failure, also when it has more bytes than `limit`; `reason` then tells why. An empty file
     * answers empty bytes. `stamp`, if given, tells later whether the file is still the one that was read.
     */
    [[nodiscard]] static QByteArray read(const QString &path, QString *reason, qint64 limit = generousLimit,
                                         VXFileStamp *stamp = nullptr);

    VXRegularFile() = delete;
};
