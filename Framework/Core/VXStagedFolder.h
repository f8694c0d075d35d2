#pragma once

#include "VXScratchFolder.h"

#include <QtCore/QString>

#include <memory>

/**
 * A folder that is filled beside its destination (inside, if the destination exists), and then moved into it, so that
 * unfinished contents are not seen there. Removed with the object; one that a killed process left is removed before the
 * next is made. Private to VXZipFile; one thread at a time.
 */
class VXStagedFolder
{
public:
    explicit VXStagedFolder(const QString &destination);

    /** Null when the folder could not be made; then `reason` says why. */
    QString path() const { return _scratch->path(); }
    QString reason() const { return _scratch->reason(); }

    /** The size of the files so far, in bytes. */
    qint64 usedBytes() const;

    /** How many bytes the user can still write there. */
    qint64 freeBytes() const;

    /**
     * Moves everything into the destination, which is created if need be: merges folders and replaces older files, but
     * no others. @return null, or the reason for a failure. When a file is where a folder has to go, or the other way
     * round, nothing was moved.
     */
    QString moveIntoPlace();

private:
    const QString _destination;
    std::unique_ptr<VXScratchFolder> _scratch;
};
