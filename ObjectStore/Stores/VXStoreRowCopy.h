#pragma once

#include "VXError.h"
#include "VXObjectStoreExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <memory>

class VXAttributeDescription;
class VXPersistentStore;
class VXSQLiteStore;

/**
 * Copies all objects of one store into an empty one, row by row in SQL, where both are SQLite files and the model of the new
 * one has more or fewer properties, no other ones by the same name, and the same inheritance. Objects keep their numbers; none is made in memory,
 * and classes of objects are not asked. What it cannot do, or finds wrong in the rows, is for a copy object by object.
 * For one thread.
 */
class VX_STORE_EXPORT VXStoreRowCopy
{
public:
    /** What there is of one entity of the source, not of those that inherit from it. */
    struct Entity
    {
        QString name;
        qint64 count = 0;
        qint64 countOfFamily = 0;  // with those that inherit from it
        QStringList dropped = {};  // properties that some objects have, and the new store has not
        QStringList left = {};     // attributes that were left out
        QStringList unfilled = {}; // mandatory attributes of the new objects that have no value so far
    };
    /** Whether an attribute of the old model is left out: somebody else sets what the new objects are to have for it. Until then
     * they have what new objects begin with, be it no value for a mandatory attribute. */
    using Filter = std::function<bool(const VXAttributeDescription &old)>;
    /** Told how many more rows are done. False ends the work. */
    using Progress = std::function<bool(qint64 rows)>;

    /** Both are open, and nobody else writes to them meanwhile. */
    VXStoreRowCopy(
        VXPersistentStore &source, VXPersistentStore &destination,
        const Filter &leavesOut = [](const VXAttributeDescription &) { return false; });
    ~VXStoreRowCopy();
    VXStoreRowCopy(const VXStoreRowCopy &) = delete;
    VXStoreRowCopy &operator=(const VXStoreRowCopy &) = delete;

    /** To be asked first; the progress is told of no rows, but may end it. @return why this cannot copy them, in English, for
     * the log; null when it can. */
    QString obstacle(const Progress &progress = [](qint64) { return true; });
    /** Of objects and of pairs. */
    qint64 rowCount() const;
    /** Those that are not abstract. */
    const QList<Entity> &entities() const { return _entities; }
    /** All or nothing. False without an error: the progress ended it. */
    bool perform(const Progress &progress, VXError *error);
    /** Opens both files anew and holds every value of one against the other; references of the new one must lead somewhere.
     * `difference`: the first one, in English; null when there is none. False on failure; without an error the progress ended it. */
    bool compare(const Progress &progress, QString *difference, VXError *error);

private:
    class Plan;

    VXSQLiteStore *const _source; // nullptr: it is of another type
    VXSQLiteStore *const _destination;
    const Filter _leavesOut;
    QList<Entity> _entities;
    std::unique_ptr<Plan> _plan;
};
