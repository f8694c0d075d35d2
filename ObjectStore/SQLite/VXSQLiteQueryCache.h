#pragma once

#include "VXFetchRequest.h"
#include "VXManagedObjectID.h"
#include "VXMutex.h"

#include <QtCore/QVariantList>

#include <optional>
#include <vector>

/**
 * Caches the SQL of fetches by their shape: requests that differ only in the values that keys are compared with have
 * the same SQL, which need not be compiled again. For one store; any thread.
 */
class VXSQLiteQueryCache
{
public:
    enum class Wanted { Rows, IDs, Count };

    /** The values of a predicate that has a shape, in the form in which they are bound: comparisons of keys with
     *  values, joined by AND. Empty for any other predicate. */
    static std::optional<QVariantList> valuesOf(const VXPredicate &predicate, const VXStoreIdentity &store);

    // For requests whose predicate has a shape:
    /** Null when it is not cached. Changes `values` to those that are to be bound. */
    QString find(const VXFetchRequest &request, Wanted wanted, QVariantList *values);
    /** Adds the SQL, with the values of the predicate, and those that were bound in their place. */
    void keep(const VXFetchRequest &request, Wanted wanted, const QString &sql, const QVariantList &values,
              const QVariantList &bound);

private:
    struct Entry
    {
        VXFetchRequest request;
        Wanted wanted;
        QString sql;
        QList<qsizetype> raised; // indexes of values for which the least greater number is bound
    };

    VXMutex _lock;
    std::vector<Entry> _entries VX_GUARDED_BY(_lock);
    size_t _next VX_GUARDED_BY(_lock) = 0; // to be replaced
};
