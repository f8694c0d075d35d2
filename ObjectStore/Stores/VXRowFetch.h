#pragma once

#include "VXRowObjects.h"

#include <vector>

/** Carries out a fetch request over row tables: what of it rows can decide. Used once. */
class VXRowFetch
{
public:
    VXRowFetch(const VXRowTables &tables, const VXFetchRequest &request);

    /** False when the predicate or the order needs what is not stored, as transient properties; then no order, limit and
     * offset is applied. */
    bool isExact() const { return _isExact; }
    /** The rows that match; valid as long as this. */
    std::vector<const VXFetchedRow *> run();

private:
    void sort(std::vector<const VXFetchedRow *> &rows);

    const VXFetchRequest &_request;
    const VXRowTables::Table _table;
    VXRowObjects _objects;
    VXPredicate _predicate; // the part that rows can decide
    bool _isExact = true;
};
