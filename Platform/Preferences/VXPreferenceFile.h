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
 * One domain of preferences in one property-list file, with the changes made here that are not written yet. Private
 * to VXUserDefaults. Any thread; reading never waits for the disk while another thread writes.
 */
class VXPreferenceFile
{
public:
    /** Reads the file, if there is one. A damaged file is set aside under a new name and reported. */
    explicit VXPreferenceFile(const QString &path);

    QString path() const { return _path; }
    /** Where damaged files of all domains went. */
    static QStringList filesSetAside();
    QVariant value(const QString &key) const;
    QVariantMap values() const;

    /** Makes the new value of a key from the one it has; invalid stands for none on both sides. */
    using Update = std::function<QVariant(const QVariant &current)>;

    /** Changes one key in memory; an invalid value removes it. */
    void setValue(const QVariant &value, const QString &key);
    /** The same by a function, which runs again on what the file then holds, under its lock, when it is written. */
    void updateValue(const QString &key, const Update &update);
    /** Changes in memory to exactly these values. */
    void setValues(const QVariantMap &values);

    /**
     * Reads what other processes wrote and writes what was changed here into it. After a failure the changes are
     * still there and the file is as it was. `changedElsewhere`, if given, gets the keys whose value here changed.
     */
    bool synchronize(QStringList *changedElsewhere, VXError *error);

    /**
     * Only reads what other processes wrote. A file that cannot be read stays where it is, as somebody may be writing it,
     * and changes nothing.
     */
    void refresh(QStringList *changedElsewhere);

    /** Removes the file and everything in memory. */
    bool remove(VXError *error);

private:
    struct Change
    {
        Update update; // none: the value takes the place of whatever was there
        QVariant value;
        quint64 sequence;
    };
    using Changes = QHash<QString, QList<Change>>; // of each key in their order

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

    VXMutex _ioLock; // one synchronisation at a time; taken before _lock
    VXFileStamp _stamp VX_GUARDED_BY(_ioLock);
    VXError _readError VX_GUARDED_BY(_ioLock);
    QVariantMap _stored VX_GUARDED_BY(_ioLock); // what the file held when last read or written

    mutable VXMutex _lock;
    QHash<QString, QVariant> _values VX_GUARDED_BY(_lock); // the file's values with the changes applied
    Changes _changes VX_GUARDED_BY(_lock);
    quint64 _lastSequence VX_GUARDED_BY(_lock) = 0;
};
