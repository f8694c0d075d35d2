#pragma once

#include "VXMessageStore.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QStringList>

/**
 * Imports messages from a file that another program wrote: a backup of gammu, or the XML of backup programs on Android.
 * They are filed in the matching root folders. A message that is already anywhere in the store (VXMessageMatch), for
 * example from a sync, or because it was sent from here, is left out, so importing again changes nothing. Saved in
 * portions. On one thread.
 */
class VX_EXPORT VXMessageImport
{
public:
    explicit VXMessageImport(const VXMessageStore &store) : _store(store) {}

    /** False, with an error, when the file cannot be read at all, is of no known form, or the messages cannot be saved.
     *  */
    [[nodiscard]] bool run(const QString &path, VXError *error = nullptr);
    /** The same for an open file, whose name in errors is `name`. */
    [[nodiscard]] bool run(QFile &file, const QString &name, VXError *error = nullptr);

    qsizetype addedCount() const { return _addedCount; }
    qsizetype knownCount() const { return _knownCount; }
    /** What could not be read, with line numbers; empty for nothing. */
    const QStringList &problems() const { return _problems; }

private:
    bool add(const QList<VXMessageRecord> &records, VXError *error);
    /** For each record, the message that is already in the store, or null. */
    std::optional<QList<VXManagedObjectPtr>> findKnown(const QList<VXMessageRecord> &records,
                                                       VXManagedObjectContext &context, VXError *error);

    const VXMessageStore _store;
    // messages of the store that were matched, with the date of the record in the file
    QHash<VXManagedObjectID, QDateTime> _met;
    qsizetype _addedCount = 0;
    qsizetype _knownCount = 0;
    QStringList _problems;
};
