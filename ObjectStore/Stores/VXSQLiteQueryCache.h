#pragma once

#include "VXFetchRequest.h"
#include "VXManagedObjectID.h"
#include "VXMutex.h"

#include <QtCore/QVariantList>

#include <optional>
#include <vector>

/**
 * The SQL of fetches made before, by their shape: requests that differ only in the single values that keys are compared with
 * have the same SQL, and need not be put into words again. Of one store; any thread.
 */
class VXSQLiteQueryCache
{
public:
    enum class Wanted { Rows, IDs, Count };

    /** The values of a predicate that has a shape, as they are bound: comparisons of keys with values, joined by AND. Empty
     * for any other predicate. */
    static std::optional<QVariantList> valuesOf(const VXPredicate &predicate, const VXStoreIdentity &store);

    // Of requests whose predicate has a shape:
    /** Null when it is not known. `values` become those that are bound. */
    QString find(const VXFetchRequest &request, Wanted wanted, QVariantList *values);
    /** With the values of the predicate, and those that were bound in their place. */
    void keep(const VXFetchRequest &request, Wanted wanted, const QString &sql, const QVariantList &values,
              const QVariantList &bound);

private:
    struct Entry
    {
        VXFetchRequest request;
        Wanted wanted;
        QString sql;
        QList<qsizetype> raised; // places of values, of which the least number above is bound
    };

    VXMutex _lock;
    std::vector<Entry> _entries VX_GUARDED_BY(_lock);
    size_t _next VX_GUARDED_BY(_lock) = 0; // to give way
};
