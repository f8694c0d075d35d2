#include "VXMetaDataWalk.h"

namespace {

constexpr qsizetype pageSize = 500;

}

// Uses the store's model, which may be another one than the plugin's.
VXMetaDataWalk::VXMetaDataWalk(VXManagedObjectContext &context, const VXEntityDescription &entity,
                               const QStringList &relationships)
    : _context(context), _entity(entity), _relationships(relationships)
{
    _relationships.removeIf([&](const QString &name) { return entity.relationshipForName(name) == nullptr; });
}

std::optional<qsizetype> VXMetaDataWalk::count(VXError *error) const
{
    return _context.countForFetchRequest(VXFetchRequest(_entity), error);
}

// The objects of a single SQLite store are read page by page, since even the IDs of all would fill memory. Other stores
// keep all objects in memory anyway.
std::shared_ptr<VXSQLiteStore> VXMetaDataWalk::pagedStore() const
{
    const auto stores = _context.persistentStoreCoordinator()->persistentStores();
    return stores.size() == 1 ? std::dynamic_pointer_cast<VXSQLiteStore>(stores.first()) : nullptr;
}

const VXAttributeDescription *VXMetaDataWalk::storedDate(const QString &key) const
{
    const VXAttributeDescription *const attribute = _entity.attributeForName(key);
    const bool isStored =
        attribute != nullptr && attribute->type() == VXAttributeType::Date && !attribute->isTransient();
    return isStored ? attribute : nullptr;
}

bool VXMetaDataWalk::forEachUnless(const QString &dateKey, const PassesOver &passesOver, const Visit &visit,
                                   VXError *error) const
{
    const std::shared_ptr<VXSQLiteStore> paged = pagedStore();
    const VXAttributeDescription *const date = paged && passesOver ? storedDate(dateKey) : nullptr;
    VXFetchRequest request(_entity);
    (paged ? request.limit : request.batchSize) = pageSize;
    request.prefetchedRelationships = _relationships;
    bool isAtEnd = false;
    while (!isAtEnd) {
        const auto dates = date == nullptr ? std::optional(Page())
                                           : paged->numbersBehind(request.afterNumber, pageSize, _entity, *date, error);
        if (!dates)
            return false;
        if (date != nullptr && passesOver(*dates)) {
            isAtEnd = dates->size() < pageSize;
            request.afterNumber = dates->isEmpty() ? request.afterNumber : dates->constLast().objectID.number();
            continue;
        }
        const std::optional<VXFetchResult> page = _context.executeFetchRequest(request, error);
        if (!page)
            return false;
        isAtEnd = !paged || page->size() < pageSize;
        for (const VXManagedObjectPtr &object : *page) {
            const bool goesOn = visit(object);
            _context.refreshObject(object, false);
            if (!goesOn)
                return true;
            request.afterNumber = object->objectID().number();
        }
    }
    return true;
}
