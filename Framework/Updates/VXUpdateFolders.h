#pragma once

#include "VXScratchFolder.h"

#include <QtCore/QStringList>

#include <memory>

/**
 * The temporary folders made by the downloads of an update; removed with the object. A folder beside them records their
 * names, so that those of an update that was killed are removed by the next one. Main thread only.
 */
class VXUpdateFolders
{
public:
    VXUpdateFolders() = default;
    ~VXUpdateFolders() { remove(); }
    VXUpdateFolders(const VXUpdateFolders &) = delete;
    VXUpdateFolders &operator=(const VXUpdateFolders &) = delete;

    /** Adds a folder that is about to be made. All must have the same parent. */
    void add(const QString &path);
    /** Removes the folders with everything in them. */
    void remove();

private:
    QStringList _folders;
    std::unique_ptr<VXScratchFolder> _names; // with an empty file named like each of them
};
