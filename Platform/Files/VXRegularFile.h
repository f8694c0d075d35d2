#pragma once

#include "VXFileDescriptor.h"
#include "VXFileStamp.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

/**
 * Reads files of unknown origin, in folders that others can write to. Only regular files are read: a pipe or a device,
 * in the place of a file or behind a link, is refused at once instead of blocking or being read endlessly. Any thread.
 */
class VX_PLATFORM_EXPORT VXRegularFile
{
public:
    /** Enough for any list, table or entry that a program reads as a whole. */
    static constexpr qint64 generousLimit = 64 * 1024 * 1024;

    /** Opens a file for reading, following links. Not open on failure; then `reason` says why. */
    [[nodiscard]] static VXFileDescriptor open(const QString &path, QString *reason);
    /** The same for a QFile that has a name and is not open yet; `reason` says why it failed. */
    [[nodiscard]] static bool open(QFile &file, QString *reason);

    /**
     * The whole file. Null, with the `reason`, on failure, also when it is larger than `limit`. An empty file gives
     * empty bytes. `stamp`, if given, can later tell whether the file is still the one that was read.
     */
    [[nodiscard]] static QByteArray read(const QString &path, QString *reason, qint64 limit = generousLimit,
                                         VXFileStamp *stamp = nullptr);

    VXRegularFile() = delete;
};
