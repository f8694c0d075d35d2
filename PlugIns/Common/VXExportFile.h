#pragma once

#include "VXFileDescriptor.h"
#include "VXFileLock.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>

/**
 * The file that an export writes to. From `open` to its end other exports to the file wait, in this process and in
 * others. What is written counts once `commit` has succeeded; until then, and after any failure, the file is as it was. A
 * process that is killed meanwhile leaves beside the file what the next export needs to bring it back.
 * Appending writes behind what is there, however long that is. One thread.
 */
class VXExportFile
{
public:
    enum class Mode {
        Append,
        Replace, // whatever the file holds
    };

    /** Makes the file, if need be, but no folder. Null on failure; `reason` tells why. Other kinds of files than regular
     * ones are refused. A link leads to the file that is written. */
    [[nodiscard]] static std::unique_ptr<VXExportFile> open(const QString &path, Mode mode, QString *reason);
    ~VXExportFile();
    VXExportFile(const VXExportFile &) = delete;
    VXExportFile &operator=(const VXExportFile &) = delete;

    /** How many bytes there are to append to; 0 when they are replaced. */
    qint64 oldSize() const { return _oldSize; }
    /** Some of them; fewer at their end. On failure none, and the write that follows fails. */
    QByteArray oldBytes(qint64 offset, qint64 count);
    /** Before anything is written: this takes the place of the old bytes behind the offset, which are kept in memory. */
    void writeFrom(qint64 offset);

    /** False once anything has failed; `commit` tells why. */
    bool write(QByteArrayView bytes);
    /** Once; makes sure that the bytes are on the disk. */
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
    VXFileDescriptor _replacementFile; // that will take its place, unless it is appended to
    QByteArray _replacement;           // that one's path; empty for none
    std::unique_ptr<VXFileLock> _lock;
    bool _wasThere = true;
    qint64 _oldSize = 0;
    qint64 _start = 0;       // where new bytes begin
    qint64 _position = 0;    // how far they go by now
    QByteArray _overwritten; // old bytes from the start on
    QByteArray _buffer;
    int _problem = 0; // errno of the first failure
    bool _isTouched = false;
    bool _isCommitted = false;
};
