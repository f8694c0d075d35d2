#pragma once

#include "VXError.h"
#include "VXFileDescriptor.h"
#include "VXFrameworkExport.h"
#include "VXMetaDataCheck.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/**
 * The folder in the user's caches where a VXMetaDataSync keeps its files; nobody but the user may read it. Files are
 * replaced as a whole. Unlike a store's files they are not synced to disk, since they can be made again. One thread at
 * a time.
 */
class VX_EXPORT VXMetaDataFolder
{
public:
    /** For the sync with that identifier. Creates nothing yet. */
    explicit VXMetaDataFolder(const QString &identifier);

    QString path() const { return _path; }
    QString pathOf(const QString &name) const { return _path + u'/' + name; }
    /** A file beside the folder; whoever works on the folder holds its lock. */
    QString lockPath() const { return _path + QLatin1String(".lock"); }
    /** Another: whoever waits for the first while a user waits holds a shared lock on it. A pass at low priority gives way to them. */
    QString waitingPath() const { return _path + QLatin1String(".waiting"); }
    /** The mark of the stores whose objects the files describe, read from a file beside the folder; empty if none was
     *  set. */
    QByteArray origin() const;
    /** Replaces the mark. False, with errno set, on failure. */
    bool setOrigin(const QByteArray &mark) const;
    bool removeOrigin() const;

    /** Creates the folder if need be, moving anything else out of its place, and opens it anew. */
    VXError open();
    /** Opens the folder for reading only. False if there is none. */
    bool openExisting();
    /** Whether the folder was removed since it was opened. */
    bool isGone() const;

    /** Visits the names in the folder, except hidden ones. Files that the visitor removes or creates may or may not be
     *  visited. False when the folder cannot be listed. */
    bool forEachName(const std::function<void(const QString &name)> &visit) const;
    /** The same with the names in the file system's encoding. `removesUnfinished`: also removes files that a killed
     *  process left half written; only for the holder of the lock. */
    bool forEachEntry(const std::function<void(const char *name)> &visit, bool removesUnfinished = false) const;
    /** Decodes the name of an entry. A file whose name is not valid UTF-8 is renamed, if the new name is free. */
    QString readableName(const char *entry) const;
    qint64 fileCount() const;
    /** Milliseconds since 1970 of the last change; none if there is no regular file of that name. `isFree`: set to
     *  whether nothing at all has that name. */
    std::optional<qint64> modificationTime(const QString &name, bool *isFree = nullptr) const;
    std::optional<qint64> modificationTime(const char *name, bool *isFree = nullptr) const;
    /** The latest modification time that this file system can store; later ones are cut to it. Determined by making a
     *  file. */
    qint64 latestTime() const;
    /** None, with an error, for a file that cannot be read or is no property list of the expected form. */
    std::optional<QVariantMap> read(const QString &name, VXError *error = nullptr) const;
    /** How a file differs from the values it should have; none when it does not. */
    std::optional<VXMetaDataFinding::Kind> compare(const QString &name, const QVariantMap &values) const;

    /** Writes a file with that modification time, in milliseconds since 1970; with the present one for none. Where the
     *  file system is coarser, it is rounded up to the next time that can be stored. */
    bool write(const QString &name, const QVariantMap &values, std::optional<qint64> time,
               VXError *error = nullptr) const;
    /** False, with errno set, when the file is still there. */
    bool remove(const QString &name) const;

private:
    /** False, with errno set, on failure. */
    static bool setTime(const VXFileDescriptor &file, qint64 time);
    QString originPath() const { return _path + QLatin1String(".store"); }

    const QString _path;
    // name of a temporary file; unique, as somebody may remove the lock that others hold
    const QByteArray _beingWritten;
    VXFileDescriptor _folder;
};
