#pragma once

#include "VXFileDescriptor.h"
#include "VXFileLock.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>

/**
 * The file an export writes to. From `open` until this object ends, other exports to the file wait, in this process and
 * in others. What is written counts only after `commit` has succeeded; until then, and after any failure, the file is
 * as it was before. A process that is killed meanwhile leaves beside the file what the next export needs to restore it.
 * Appending writes after the existing content, however long that is. One thread.
 */
class VXExportFile
{
public:
    enum class Mode {
        Append,
        Replace, // whatever the file holds
    };

    /** Makes the file if necessary, but no folder. Null on failure; `reason` tells why. Anything other than a regular
     *  file is refused. A link is followed to the file that is written. */
    [[nodiscard]] static std::unique_ptr<VXExportFile> open(const QString &path, Mode mode, QString *reason);
    ~VXExportFile();
    VXExportFile(const VXExportFile &) = delete;
    VXExportFile &operator=(const VXExportFile &) = delete;

    /** The number of existing bytes to append to; 0 if they are replaced. */
    qint64 oldSize() const { return _oldSize; }
    /** Reads some of them; fewer at the end. Returns nothing on failure, and the write that follows then fails. */
    QByteArray oldBytes(qint64 offset, qint64 count);
    /** To be called before anything is written: the new bytes replace the old ones from the offset on, which are kept
     *  in memory. */
    void writeFrom(qint64 offset);

    /** False once anything has failed; `commit` tells why. */
    bool write(QByteArrayView bytes);
    /** To be called once; makes sure that the bytes are on the disk. */
    [[nodiscard]] bool commit(QString *reason);

private:
    VXExportFile(const QString &path, Mode mode) : _path(path), _mode(mode) {}

    bool openLocked(QString *reason);
    bool begin(QString *reason);
    bool beginReplacement(QString *reason);
    void keepUndo();
    bool undoTornExport(QString *reason);
    void removeUndo() const;
    bool flush();
    bool finishAppending();
    bool finishReplacing();
    void takeBack();
    bool isAsBefore();
    void synchronizeFolder() const;
    const VXFileDescriptor &output() const { return _replacement.isEmpty() ? _file : _replacementFile; }
    bool fail();

    QString _path; // without links
    const Mode _mode;
    VXFileDescriptor _file;            // the locked one
    VXFileDescriptor _replacementFile; // will replace the file, unless it is appended to
    QByteArray _replacement;           // path of the replacement; empty for none
    std::unique_ptr<VXFileLock> _lock;
    bool _wasThere = true;
    qint64 _oldSize = 0;
    qint64 _start = 0;       // where new bytes begin
    qint64 _position = 0;    // end of the new bytes so far
    QByteArray _overwritten; // old bytes from the start on
    QByteArray _buffer;
    int _problem = 0; // errno of the first failure
    bool _isTouched = false;
    bool _isCommitted = false;
};
