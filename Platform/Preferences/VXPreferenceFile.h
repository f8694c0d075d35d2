#pragma once

#include "VXError.h"
#include "VXFileStamp.h"
#include "VXMutex.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>

/**
 * One domain of preferences in a property-list file, with the changes made in this process that are not written yet.
 * Private to VXUserDefaults. Any thread; reading never waits for the disk while another thread writes.
 */
class VXPreferenceFile
{
public:
    /** Reads the file, if it exists. A damaged file is renamed and reported. */
    explicit VXPreferenceFile(const QString &path);

    QString path() const { return _path; }
    /** The new paths of damaged files of all domains. */
    static QStringList filesSetAside();
    QVariant value(const QString &key) const;
    QVariantMap values() const;

    /** Computes the new value of a key from the present one; invalid means none for both. */
    using Update = std::function<QVariant(const QVariant &current)>;

    /** Changes one key in memory; an invalid value removes it. */
    void setValue(const QVariant &value, const QString &key);
    /** The same by a function, which runs again, under the file's lock, on the value in the file when that is written.
     *  */
    void updateValue(const QString &key, const Update &update);
    /** Replaces all values in memory by these. */
    void setValues(const QVariantMap &values);

    /**
     * Reads what other processes wrote, and writes the changes made here into it. After a failure the changes are still
     * pending and the file is unchanged. `changedElsewhere`, if given, receives the keys whose values changed here.
     */
    bool synchronize(QStringList *changedElsewhere, VXError *error);

    /**
     * Only reads what other processes wrote. A file that cannot be read is left alone, since somebody may be writing
     * it, and changes nothing.
     */
    void refresh(QStringList *changedElsewhere);

    /** Removes the file and everything in memory. */
    bool remove(VXError *error);

private:
    struct Change
    {
        Update update; // none: the value replaces whatever was there
        QVariant value;
        quint64 sequence;
    };
    using Changes = QHash<QString, QList<Change>>; // by key, in order

    template <class Values>
    static void applyChanges(const Changes &changes, Values &values);
    QString lockPath() const;
    QVariantMap readFile(bool mayBeSetAside, VXFileStamp *stamp, VXError *error) const;
    bool reload(bool lockHeld, QStringList *changedElsewhere, VXError *error) VX_REQUIRES(_ioLock);
    void adopt(QVariantMap stored, const VXFileStamp &stamp, QStringList *changedElsewhere) VX_REQUIRES(_ioLock);
    bool writeChanges(VXError *error) VX_REQUIRES(_ioLock);
    Changes pendingChanges(quint64 *lastSequence) const;
    void forgetChanges(quint64 lastSequence);
    bool hasPendingChanges() const;

    const QString _path;

    VXMutex _ioLock; // one synchronization at a time; to be taken before _lock
    VXFileStamp _stamp VX_GUARDED_BY(_ioLock);
    VXError _readError VX_GUARDED_BY(_ioLock);
    QVariantMap _stored VX_GUARDED_BY(_ioLock); // the file's contents when last read or written

    mutable VXMutex _lock;
    QHash<QString, QVariant> _values VX_GUARDED_BY(_lock); // the file's values with the changes applied
    Changes _changes VX_GUARDED_BY(_lock);
    quint64 _lastSequence VX_GUARDED_BY(_lock) = 0;
};
