#pragma once

#include "VXKeyValueCoding.h"
#include "VXRowTables.h"

#include <deque>

/**
 * Presents the objects of row tables to predicates and sort descriptors: values by name, and relationships that can be
 * followed. There is one object for each ID, so that an object equals itself. They live as long as this object; one
 * thread.
 */
class VXRowObjects
{
public:
    explicit VXRowObjects(const VXRowTables &tables) : _tables(tables) {}
    VXRowObjects(const VXRowObjects &) = delete;
    VXRowObjects &operator=(const VXRowObjects &) = delete;

    /** The object as a VXKeyValueCoding *; it need not exist. */
    QVariant object(const VXManagedObjectID &objectID);
    /** The predicate with the object IDs in its values replaced by objects. */
    VXPredicate withObjects(const VXPredicate &predicate);

private:
    class Object final : public VXKeyValueCoding
    {
    public:
        Object(VXRowObjects &objects, const VXFetchedRow *stored) : _objects(objects), _stored(stored) {}
        QVariant valueForKey(const QString &key) const override;

    private:
        VXRowObjects &_objects;
        const VXFetchedRow *const _stored; // nullptr if it does not exist
    };

    QVariant withObjects(const QVariant &value);
    VXExpression withObjects(const VXExpression &expression);

    const VXRowTables _tables;
    std::deque<Object> _made;
    QHash<VXManagedObjectID, Object *> _byID;
};
