#pragma once

#include "VXScratchFolder.h"

#include <QtCore/QStringList>

#include <memory>

/**
 * The folders that downloads of one update make on the way, which go with the object. A folder beside them keeps their names,
 * so that those of an update that was killed go with the next one. Main thread only.
 */
class VXUpdateFolders
{
public:
    VXUpdateFolders() = default;
    ~VXUpdateFolders() { remove(); }
    VXUpdateFolders(const VXUpdateFolders &) = delete;
    VXUpdateFolders &operator=(const VXUpdateFolders &) = delete;

    /** A folder that is about to be made. All of them lie in the same one. */
    void add(const QString &path);
    /** Removes them with all that is in them. */
    void remove();

private:
    QStringList _folders;
    std::unique_ptr<VXScratchFolder> _names; // with an empty file of the name of each
};
