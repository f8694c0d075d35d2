#pragma once

#include "VXMessageStore.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QStringList>

/**
 * Takes messages from a file that another program wrote: a backup of gammu, or the XML of backup programs on Android. They are
 * filed in the root folders that fit; one that is anywhere in the store already (VXMessageMatch), as after a sync, or as it was
 * sent from here, is left out, so that importing again changes nothing. Saved in portions. On one thread.
 */
class VX_EXPORT VXMessageImport
{
public:
    explicit VXMessageImport(const VXMessageStore &store) : _store(store) {}

    /** False, with an error, when the file cannot be read at all, is of no known form, or the messages cannot be saved. */
    [[nodiscard]] bool run(const QString &path, VXError *error = nullptr);
    /** The same of one that is open, and which errors call so. */
    [[nodiscard]] bool run(QFile &file, const QString &name, VXError *error = nullptr);

    qsizetype addedCount() const { return _addedCount; }
    qsizetype knownCount() const { return _knownCount; }
    /** What could not be read, with the line; empty for nothing. */
    const QStringList &problems() const { return _problems; }

private:
    bool add(const QList<VXMessageRecord> &records, VXError *error);
    /** The message of each that is there already, null for none. */
    std::optional<QList<VXManagedObjectPtr>> findKnown(const QList<VXMessageRecord> &records,
                                                       VXManagedObjectContext &context, VXError *error);

    const VXMessageStore _store;
    QHash<VXManagedObjectID, QDateTime> _met; // of the store, with the date of the one of the file
    qsizetype _addedCount = 0;
    qsizetype _knownCount = 0;
    QStringList _problems;
};
