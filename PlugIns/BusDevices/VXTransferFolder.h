#pragma once

#include <QtCore/QString>

#include <memory>

/**
 * A folder that nobody else may enter, for files that a service hands over; removed with this object, with all that is in it. Those
 * of a process that was killed are removed by the next that makes one. Any thread.
 */
class VXTransferFolder
{
public:
    VXTransferFolder();
    ~VXTransferFolder();
    VXTransferFolder(const VXTransferFolder &) = delete;
    VXTransferFolder &operator=(const VXTransferFolder &) = delete;

    /** Null when it could not be made. */
    const QString &path() const { return _path; }
    QString filePath(const QString &name) const { return _path + u'/' + name; }

private:
    QString _path;
};
