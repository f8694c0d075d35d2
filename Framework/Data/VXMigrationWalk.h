#pragma once

#include "VXFetchResult.h"
#include "VXManagedObjectContext.h"
#include "VXStoreMigration.h"

#include <algorithm>
#include <optional>

// Shared by both passes of a copy by objects: attributes first, then relationships.

/** The name of an object in the log. */
[[nodiscard]] QString VXMigrationName(const VXManagedObjectID &objectID);
/** The property of that name in both objects; nullptr in place of one that does not exist. */
[[nodiscard]] VXPropertyPair VXMigrationProperties(const QString &name, const VXManagedObject &oldObject,
                                                   const VXManagedObject &newObject);
/** Notes a property that the new object does not have and that no hook took care of. */
void VXNoteDroppedProperty(const VXManagedObject &oldObject, const QString &property);

/** Visits the objects of exactly one entity in batches, as the store may be larger than memory. */
class VXMigrationWalk
{
public:
    static constexpr qsizetype largestKeptRow = 512; // in bytes; most old objects fit, and are then read only once
    static constexpr qsizetype batchSize = 500;      // old objects that are in memory at once

    VXMigrationWalk(const VXEntityDescription &entity, VXManagedObjectContext &context)
        : _entity(entity), _context(context)
    {
    }

    bool find(VXError *error);
    /** Only after find(). */
    qsizetype count() const { return _found->size(); }
    /** Calls `batch` with each batch and `each` with each of its objects, until a call returns false. @return false
     *  then, and on failure. */
    template <class Batch, class Each>
    bool forEach(const Batch &batch, const Each &each, VXError *error)
    {
        for (qsizetype at = 0; at < count(); at += batchSize) {
            QList<VXManagedObjectPtr> objects;
            objects.reserve(batchSize);
            for (qsizetype i = at; i < std::min(at + batchSize, count()); ++i)
                objects.append(_found->at(i));
            // Objects that cannot be read must not pass for objects without values.
            if (std::ranges::any_of(objects, [](const auto &object) { return object->isFault(); })) {
                VXSetError(error, unreadable());
                return false;
            }
            if (!batch(objects) || !std::ranges::all_of(objects, [&](const auto &object) {
                    return !isCancelled(error) && call(each, object) && advance();
                }))
                return false;
        }
        return true;
    }

private:
    // Hooks are foreign code: their developers want to know at which object one threw.
    template <class Each>
    static bool call(const Each &each, const VXManagedObjectPtr &object)
    {
        try {
            return each(object);
        } catch (...) {
            tellOfException(*object);
            throw;
        }
    }

    static void tellOfException(const VXManagedObject &object);
    static bool isCancelled(VXError *error);
    static bool advance();
    VXError unreadable() const;

    const VXEntityDescription &_entity;
    VXManagedObjectContext &_context;
    std::optional<VXFetchResult> _found;
};
