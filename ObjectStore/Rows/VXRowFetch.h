#pragma once

#include "VXRowObjects.h"

#include <vector>

/** Evaluates a fetch request on row tables, as far as rows suffice for that. To be used once. */
class VXRowFetch
{
public:
    VXRowFetch(const VXRowTables &tables, const VXFetchRequest &request);

    /** False when the predicate or the order needs something that is not stored, such as transient properties; then no
     *  order, limit and offset is applied. */
    bool isExact() const { return _isExact; }
    /** The matching rows; valid as long as this object. */
    std::vector<const VXFetchedRow *> run();

private:
    void sort(std::vector<const VXFetchedRow *> &rows);

    const VXFetchRequest &_request;
    const VXRowTables::Table _table;
    VXRowObjects _objects;
    VXPredicate _predicate; // the part that rows can decide
    bool _isExact = true;
};
