#pragma once

#include "VXFileStamp.h"
#include "VXMutex.h"
#include "VXSQLiteFile.h"

/**
 * What the last look at the metadata of a store has found on the way: who opens the store next need not look again. One per process;
 * any thread.
 */
class VXSQLiteLastLook
{
public:
    static VXSQLiteLastLook &shared();

    /** The metadata as it is in the file now. None, with an error, if it cannot be read. */
    std::optional<QVariantMap> look(const QString &path, std::chrono::milliseconds busyTimeout, VXError *error);
    /** What was found, once, if the last look was at this file and nobody has written to it since. */
    std::optional<VXSQLiteFile::Contents> take(const QString &path);

private:
    VXSQLiteLastLook() = default;

    VXMutex _lock;
    QString _path VX_GUARDED_BY(_lock);
    VXFileStamp _stamp VX_GUARDED_BY(_lock);
    std::optional<VXSQLiteFile::Contents> _contents VX_GUARDED_BY(_lock);
};
