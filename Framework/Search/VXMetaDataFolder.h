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
 * The folder in the user's caches where a VXMetaDataSync keeps its files, which nobody else may read. Files are replaced as a
 * whole; unlike a store's they are not carried to the disk at once, for they can be made again. One thread at a time.
 */
class VX_EXPORT VXMetaDataFolder
{
public:
    /** Of the sync of that identifier. Nothing is made yet. */
    explicit VXMetaDataFolder(const QString &identifier);

    QString path() const { return _path; }
    QString pathOf(const QString &name) const { return _path + u'/' + name; }
    /** A file beside the folder; who works on the folder holds its lock. */
    QString lockPath() const { return _path + QLatin1String(".lock"); }
    /** The mark of the stores whose objects the files tell of, from a file beside the folder; empty where none was set. */
    QByteArray origin() const;
    /** Replaces it. False, with errno, when that fails. */
    bool setOrigin(const QByteArray &mark) const;
    bool removeOrigin() const;

    /** Makes the folder if need be, with what else lies in its place out of the way, and looks at it afresh from then on. */
    VXError open();
    /** For looking only. False when there is none. */
    bool openExisting();
    /** Of one that was opened: true when it was removed since. */
    bool isGone() const;

    /** Visits what lies there, without what is hidden; what the visitor removes or makes may be visited or not. False when it
     *  cannot be listed. */
    bool forEachName(const std::function<void(const QString &name)> &visit) const;
    /** The same by the names as the disk has them. `removesUnfinished`: what a killed process had not written to its end goes;
     *  for who holds the lock. */
    bool forEachEntry(const std::function<void(const char *name)> &visit, bool removesUnfinished = false) const;
    /** That of an entry. Where it cannot be decoded, as it is no UTF-8, the file has another name from then on, if that is free. */
    QString readableName(const char *entry) const;
    qint64 fileCount() const;
    /** Milliseconds since 1970 of the last change; none without a file, and for what is there but is none. `isFree`: whether
     *  nothing is there. */
    std::optional<qint64> modificationTime(const QString &name, bool *isFree = nullptr) const;
    std::optional<qint64> modificationTime(const char *name, bool *isFree = nullptr) const;
    /** The latest that a file can have here: later ones are cut to it. Found out by making one. */
    qint64 latestTime() const;
    /** None, with an error, for a file that cannot be read or is no property list of the form expected. */
    std::optional<QVariantMap> read(const QString &name, VXError *error = nullptr) const;
    /** What is wrong with a file that is to say that; none when it does. */
    std::optional<VXMetaDataFinding::Kind> compare(const QString &name, const QVariantMap &values) const;

    /** Writes a file as of that time, in milliseconds since 1970; as of now for none. Where files keep less of a time, it is the
     *  next one that they can keep. */
    bool write(const QString &name, const QVariantMap &values, std::optional<qint64> time,
               VXError *error = nullptr) const;
    /** False, with errno, when it is still there. */
    bool remove(const QString &name) const;

private:
    /** False, with errno, when it could not be set. */
    static bool setTime(const VXFileDescriptor &file, qint64 time);
    QString originPath() const { return _path + QLatin1String(".store"); }

    const QString _path;
    const QByteArray _beingWritten; // nobody else's, also where somebody has removed the lock that others hold
    VXFileDescriptor _folder;
};
