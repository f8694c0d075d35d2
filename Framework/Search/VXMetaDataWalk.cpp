#include "VXMetaDataWalk.h"

namespace {

constexpr qsizetype pageSize = 500;

}

std::optional<qsizetype> VXMetaDataWalk::count(VXError *error) const
{
    return _context.countForFetchRequest(VXFetchRequest(_entity), error);
}

// The objects of one SQLite store are read a page after the other, for even the IDs of all would fill memory. The other stores
// have all in memory anyway.
bool VXMetaDataWalk::forEach(const std::function<bool(const VXManagedObjectPtr &object)> &visit, VXError *error) const
{
    const auto stores = _context.persistentStoreCoordinator()->persistentStores();
    const bool isPaged = stores.size() == 1 && stores.first()->type() == VXStoreType::SQLite;
    VXFetchRequest request(_entity);
    (isPaged ? request.limit : request.batchSize) = pageSize;
    std::optional<VXFetchResult> page = _context.executeFetchRequest(request, error);
    while (page) {
        for (const VXManagedObjectPtr &object : *page) {
            const bool goesOn = visit(object);
            _context.refreshObject(object, false);
            if (!goesOn)
                return true;
            request.afterNumber = object->objectID().number();
        }
        if (!isPaged || page->size() < pageSize)
            break;
        page = _context.executeFetchRequest(request, error);
    }
    return bool(page);
}
