#pragma once

#include "VXScratchFolder.h"

#include <QtCore/QString>

#include <memory>

/**
 * A folder that grows beside its destination (in it, when it is there already), and then moves into it: so that what is not
 * finished is not found there. It goes with the object; one that a killed process left goes before the next is made.
 * Private to VXZipFile; one thread at a time.
 */
class VXStagedFolder
{
public:
    explicit VXStagedFolder(const QString &destination);

    /** Null when the folder could not be made; `reason` tells why. */
    QString path() const { return _scratch->path(); }
    QString reason() const { return _scratch->reason(); }

    /** Bytes in the files so far. */
    qint64 usedBytes() const;

    /** Bytes that the user may still write there. */
    qint64 freeBytes() const;

    /**
     * Moves all into the destination, which is made if need be: into folders that are there, over files that are older, not
     * over others. @return null, or why not; when a file stands where a folder is to be, or the other way round, nothing was moved.
     */
    QString moveIntoPlace();

private:
    const QString _destination;
    std::unique_ptr<VXScratchFolder> _scratch;
};
