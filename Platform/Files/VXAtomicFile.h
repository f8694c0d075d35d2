#pragma once

#include "VXFileDescriptor.h"
#include "VXFileStamp.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QIODevice>
#include <QtCore/QString>

/** Who may read a file that is made. */
enum class VXFileAccess {
    Private, // its owner alone (0600), also where the file that is replaced was open to others
    Shared,  // as the file that is replaced, if it was the user's own, else what the process' mask leaves of 0666
};

/**
 * Replaces a file as a whole or not at all. What is written goes into a file beside it, which takes its place in `commit`,
 * once it is on the disk. Until then, and after any failure, the old file is as it was, and nothing is left beside it. What a
 * process that was killed left there (".vornix-" and 16 digits) goes when another process first replaces a file in the
 * folder. A link is followed: what it leads to is replaced.
 * Refused are what is no regular file, and a file that must not be written. One thread at a time.
 */
class VX_PLATFORM_EXPORT VXAtomicFile : public QIODevice
{
public:
    explicit VXAtomicFile(const QString &path, VXFileAccess access = VXFileAccess::Private);
    /** Without a commit that worked: takes everything back. */
    ~VXAtomicFile() override;

    /** Makes the file beside. The mode is always to write. On failure false; `errorString` tells why, as for the others. */
    bool open(OpenMode mode = WriteOnly) override;
    bool isSequential() const override { return true; }

    /** Carries all that was written to the disk; nothing may be written afterwards. `commit` does it where it was not
     *  done. */
    [[nodiscard]] bool prepare();
    /** The stamp that the file will have in its place. After `prepare`. */
    VXFileStamp stamp() const { return VXFileStamp::ofDescriptor(_file.number()); }
    /**
     * Puts the file into its place. Any write that failed before makes it fail. That it is there, and not the old one, is
     * on the disk too where the file system can do that; a failure of this alone is reported as a diagnostic.
     */
    [[nodiscard]] bool commit();

    /** All of it at once. On failure false, `reason` tells why; `stamp`, if given, is that of the new file. */
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
    QByteArray _target;    // where the path leads
    QByteArray _temporary; // empty when there is none
    unsigned _mode = 0;    // of the file to replace, when it is to be kept
    VXFileDescriptor _file;
    QByteArray _buffer;
    bool _isFailed = false;
    bool _isPrepared = false;
};

/** Puts into effect on the disk that a file was made, renamed or removed in the folder of `path`; false, with errno, where
 *  that failed. File systems that have no such operation count as success. */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXSynchronizeFolderOf(const QString &path);
