#pragma once

#include "VXFetchResult.h"
#include "VXManagedObjectContext.h"
#include "VXStoreMigration.h"

#include <algorithm>
#include <optional>

// What both passes of an upgrade by objects need, attributes first and relationships then.

/** As the log names an object. */
[[nodiscard]] QString VXMigrationName(const VXManagedObjectID &objectID);
/** What a property of both objects is called in each; none where one has no such property. */
[[nodiscard]] VXPropertyPair VXMigrationProperties(const QString &name, const VXManagedObject &oldObject,
                                                   const VXManagedObject &newObject);
/** The new object has it not, and no hook took care of it. */
void VXNoteDroppedProperty(const VXManagedObject &oldObject, const QString &property);

/** Walks the objects of exactly one entity, some at a time: the store may be larger than memory. */
class VXMigrationWalk
{
public:
    static constexpr qsizetype largestKeptRow = 512; // in bytes; that of most old objects, which is then read once
    static constexpr qsizetype batchSize = 500;      // of old objects that are in memory at once

    VXMigrationWalk(const VXEntityDescription &entity, VXManagedObjectContext &context)
        : _entity(entity), _context(context)
    {
    }

    bool find(VXError *error);
    /** Once they are found. */
    qsizetype count() const { return _found->size(); }
    /** Calls with each batch and each object of it, until one of the calls answers false. @return false then, and on failure. */
    template <class Batch, class Each>
    bool forEach(const Batch &batch, const Each &each, VXError *error)
    {
        for (qsizetype at = 0; at < count(); at += batchSize) {
            QList<VXManagedObjectPtr> objects;
            objects.reserve(batchSize);
            for (qsizetype i = at; i < std::min(at + batchSize, count()); ++i)
                objects.append(_found->at(i));
            // What cannot be read must not pass for objects without values.
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
    // Hooks are foreign code: whoever wrote one wants to know at which object it threw.
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
