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
 * Copies all objects of a store into an empty one, row by row in SQL. Both must be SQLite files; the new model may have
 * more or fewer properties, but none of the same name that differ, and the same inheritance. Objects keep their
 * numbers; none is made in memory, and their classes are not called. What this cannot do, or finds wrong in the rows,
 * has to be copied object by object. One thread.
 */
class VX_STORE_EXPORT VXStoreRowCopy
{
public:
    /** The objects of one entity of the source, without those of entities that inherit from it. */
    struct Entity
    {
        QString name;
        qint64 count = 0;
        qint64 countOfFamily = 0;  // with those of entities that inherit from it
        QStringList dropped = {};  // properties that some objects have, and the new store lacks
        QStringList left = {};     // attributes that were left out
        QStringList unfilled = {}; // mandatory attributes of the new objects without a value so far
    };
    /** Whether an attribute of the old model is left out, because the caller sets it in the new objects. Until then
     *  they have the value of new objects, even if that is none for a mandatory attribute. */
    using Filter = std::function<bool(const VXAttributeDescription &old)>;
    /** Is called with the number of further rows done. False ends the work. */
    using Progress = std::function<bool(qint64 rows)>;

    /** Both stores must be open, and nobody else may write to them meanwhile. */
    VXStoreRowCopy(
        VXPersistentStore &source, VXPersistentStore &destination,
        const Filter &leavesOut = [](const VXAttributeDescription &) { return false; });
    ~VXStoreRowCopy();
    VXStoreRowCopy(const VXStoreRowCopy &) = delete;
    VXStoreRowCopy &operator=(const VXStoreRowCopy &) = delete;

    /** To be called first; `progress` gets no rows, but may end it. @return why this cannot copy the objects, in
     *  English, for the log; null when it can. */
    QString obstacle(const Progress &progress = [](qint64) { return true; });
    /** The number of objects and of pairs. */
    qint64 rowCount() const;
    /** Those that are not abstract. */
    const QList<Entity> &entities() const { return _entities; }
    /** Copies everything or nothing. False without an error when `progress` ended it. */
    bool perform(const Progress &progress, VXError *error);
    /** Opens both files again and compares all values; references in the new one must lead to objects. `difference`:
     *  the first one, in English; null when there is none. False on failure; without an error when `progress` ended it.
     *  */
    bool compare(const Progress &progress, QString *difference, VXError *error);

private:
    class Plan;

    VXSQLiteStore *const _source; // nullptr if of another type
    VXSQLiteStore *const _destination;
    const Filter _leavesOut;
    QList<Entity> _entities;
    std::unique_ptr<Plan> _plan;
};
