#pragma once

#include "VXCallStore.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

/**
 * Imports calls from a table of comma-separated values (RFC 4180; semicolons and tabs are accepted, too), whose first
 * line names the columns by the keys of call records. A call that is already in the store is left out. Saved in
 * portions. On one thread.
 */
class VX_EXPORT VXCallImport
{
public:
    explicit VXCallImport(const VXPersistentStoreCoordinator::Ptr &coordinator) : _store(coordinator) {}

    /** False, with an error, when the file cannot be read at all or the calls cannot be saved. */
    [[nodiscard]] bool run(const QString &path, VXError *error = nullptr);
    /** The same for an open file, whose name in errors is `name`. */
    [[nodiscard]] bool run(QFile &file, const QString &name, VXError *error = nullptr);

    qsizetype addedCount() const { return _addedCount; }
    qsizetype knownCount() const { return _knownCount; }
    /** What could not be read, with line numbers. */
    const QStringList &problems() const { return _problems; }

private:
    VXCallRecord recordOf(const QStringList &columns, const QStringList &row, qsizetype line);
    bool add(const QList<VXCallRecord> &records, VXError *error);

    const VXCallStore _store;
    qsizetype _addedCount = 0;
    qsizetype _knownCount = 0;
    QStringList _problems;
};
