#pragma once

#include "VXFrameworkExport.h"
#include "VXTask.h"

#include <QtCore/QMetaType>
#include <QtCore/QStringList>

class VXZipArchive;

/**
 * Makes and unpacks zip archives with the system's archivers, in the background. When done the delegate is
 * sent `zipDidComplete(VXZipFile *)` or `unzipDidComplete(VXZipFile *)`, if it has such an invokable
 * operation; the outcome is in `error` and `destinationPath`. Paths may begin with "~".
 */
class VX_EXPORT VXZipFile : public VXTask
{
public:
    using Ptr = std::shared_ptr<VXZipFile>;

    static Ptr create();
    ~VXZipFile() override;

    /** Unzips beside the archive and tells the delegate. Main thread. */
    static Ptr unzipFileAtPath(const QString &path, QObject *delegate);

    /**
     * Packs files and folders, the latter with all below. One item is stored without its parent folders,
     * several as given. The destination is a file, or a folder in which the archive is named after the first
     * item; the desktop when none is set. It gets the extension "zip"; an archive that is there is added to.
     * An empty list fails an assertion.
     */
    void zip(const QStringList &sourcePaths);

    /**
     * Unpacks into the destination folder, or the archive's own folder when none is set, over older files.
     * `destinationPath` becomes the path of the archive's first entry. An archive with an entry that would be
     * written outside the folder, or with a link that leads there, is refused whole, as is one that by its list does not
     * fit on the disk. Files appear there when all are unpacked, none after a failure; a mere warning (status 1), as for
     * an archive that unpacks itself, is an error too, but the files are there. A null path fails an assertion.
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
