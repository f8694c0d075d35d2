#pragma once

#include "VXFileDescriptor.h"
#include "VXFileStamp.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QIODevice>
#include <QtCore/QString>

/** Who may read a new file. */
enum class VXFileAccess {
    Private, // only its owner (0600), even if the replaced file was readable for others
    Shared,  // as for the replaced file, if the user owned it; otherwise as the process's umask allows
};

/**
 * Replaces a file as a whole or not at all. Data is written to a temporary file beside it, which `commit` moves to its
 * place once it is on disk. Until then, and after any failure, the old file is unchanged, and no temporary file
 * remains. A temporary file of a process that was killed (".vornix-" and 16 digits) is removed when another process
 * first replaces a file in the folder. If the path is a symbolic link, its target is replaced. Anything but a regular
 * file is refused, and so is a file that is not writable. One thread at a time.
 */
class VX_PLATFORM_EXPORT VXAtomicFile : public QIODevice
{
public:
    explicit VXAtomicFile(const QString &path, VXFileAccess access = VXFileAccess::Private);
    /** Without a successful commit, removes the temporary file. */
    ~VXAtomicFile() override;

    /** Makes the temporary file. The mode is always to write. False on failure; `errorString` says why, as for the
     *  other functions. */
    bool open(OpenMode mode = WriteOnly) override;
    bool isSequential() const override { return true; }

    /** Syncs everything written to disk; nothing may be written afterwards. `commit` calls this if it was not called.
     *  */
    [[nodiscard]] bool prepare();
    /** The stamp that the file will have at its place. Valid after `prepare`. */
    VXFileStamp stamp() const { return VXFileStamp::ofDescriptor(_file.number()); }
    /** The errno of the first failure since `open`, as ENOSPC for a full disk; 0 for none, and where the system knows of none. */
    int systemError() const { return _problem; }
    /**
     * Moves the file to its place. Fails if any write failed before. The rename is synced to disk as well, if the file
     * system supports that; a failure of this step is only reported as a diagnostic.
     */
    [[nodiscard]] bool commit();

    /** Writes a whole file. False on failure, with the `reason`; `stamp`, if given, receives that of the new file. */
    [[nodiscard]] static bool replace(const QString &path, QByteArrayView contents, QString *reason,
                                      VXFileAccess access = VXFileAccess::Private, VXFileStamp *stamp = nullptr);

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *bytes, qint64 count) override;

private:
    bool findTarget();
    bool makeFileBeside();
    bool fail(int problem);
    bool flush();
    void takeBack();

    const QString _path;
    const VXFileAccess _access;
    QByteArray _target;    // the target of the path
    QByteArray _temporary; // empty if there is none
    unsigned _mode = 0;    // of the file to replace, if it is to be kept
    VXFileDescriptor _file;
    QByteArray _buffer;
    bool _isFailed = false;
    int _problem = 0;
    bool _isPrepared = false;
};

/**
 * Syncs the folder of `path` to disk, after a file was made, renamed or removed in it; false, with errno set, on
 * failure. If the file system does not support that, it counts as success.
 */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXSynchronizeFolderOf(const QString &path);
