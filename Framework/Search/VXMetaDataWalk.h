#pragma once

#include "VXManagedObjectContext.h"

#include <functional>
#include <optional>

/** Goes through all objects of an entity with little of them in memory at a time. On the context's thread. */
class VXMetaDataWalk
{
public:
    VXMetaDataWalk(VXManagedObjectContext &context, const VXEntityDescription &entity)
        : _context(context), _entity(entity)
    {
    }

    /** None, with an error, when the store cannot be read. */
    std::optional<qsizetype> count(VXError *error) const;
    /** Visits each object, which becomes a fault again, until the visitor says false. False, with an error, when the store
     *  cannot be read. */
    bool forEach(const std::function<bool(const VXManagedObjectPtr &object)> &visit, VXError *error) const;

private:
    VXManagedObjectContext &_context;
    const VXEntityDescription &_entity;
};
