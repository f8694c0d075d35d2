#pragma once

#include <QtCore/QString>

#include <memory>

/**
 * A folder that nobody else may enter, for files that a service delivers. It is removed with this object, along with
 * everything in it. Folders of a process that was killed are removed by the next process that makes one. Any thread.
 */
class VXTransferFolder
{
public:
    VXTransferFolder();
    ~VXTransferFolder();
    VXTransferFolder(const VXTransferFolder &) = delete;
    VXTransferFolder &operator=(const VXTransferFolder &) = delete;

    /** Null if it could not be made. */
    const QString &path() const { return _path; }
    QString filePath(const QString &name) const { return _path + u'/' + name; }

private:
    QString _path;
};
