#pragma once

#include "VXFrameworkExport.h"
#include "VXTask.h"

#include <QtCore/QMetaType>
#include <QtCore/QStringList>

class VXZipArchive;

/**
 * Makes and unpacks zip archives with the system's archivers, in the background. When done, calls the delegate's
 * invokable operation `zipDidComplete(VXZipFile *)` or `unzipDidComplete(VXZipFile *)`, if it has one; the outcome is
 * in `error` and `destinationPath`. Paths may begin with "~".
 */
class VX_EXPORT VXZipFile : public VXTask
{
public:
    using Ptr = std::shared_ptr<VXZipFile>;

    static Ptr create();
    ~VXZipFile() override;

    /** Unpacks into the folder of the archive, then notifies the delegate. Main thread. */
    static Ptr unzipFileAtPath(const QString &path, QObject *delegate);

    /**
     * Packs files and folders, the latter with everything below. A single item is stored without its parent folders,
     * several items as given. The destination is a file, or a folder in which the archive is named after the first
     * item; by default the desktop. It gets the extension "zip"; an existing archive is added to. An empty list fails
     * an assertion.
     */
    void zip(const QStringList &sourcePaths);

    /**
     * Unpacks into the destination folder, or if none is set into the archive's own folder, replacing older files.
     * `destinationPath` becomes the path of the archive's first entry. An archive is refused as a whole if an entry
     * would be written outside the folder, if a link leads there, or if, according to its list, it does not fit on the
     * disk. Files appear at the destination when all are unpacked, and none appear after a failure; a mere warning
     * (status 1), as for a self-extracting archive, is reported as an error, too, but the files are there. A null path
     * fails an assertion.
     */
    void unzip(const QString &zipPath);

private:
    VXZipFile();

    void zipFiles(const QStringList &sourcePaths, const QString &destination);
    void unzipFile(const QString &zipPath, const QString &destinationFolder);
    void unpack(const VXZipArchive &archive, const QString &zipPath, const QString &destinationFolder);
    void refuse(const QString &zipPath, const QString &reason);
    void failUnzip(const QString &zipPath, const QString &suggestion);
};

Q_DECLARE_METATYPE(VXZipFile *)
