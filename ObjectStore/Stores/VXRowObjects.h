#pragma once

#include "VXKeyValueCoding.h"
#include "VXRowTables.h"

#include <deque>

/**
 * The objects of row tables as predicates and sort descriptors see them: values by name, relationships followed. One object
 * for each ID, so that the same object is equal to itself. They live as long as this; one thread.
 */
class VXRowObjects
{
public:
    explicit VXRowObjects(const VXRowTables &tables) : _tables(tables) {}
    VXRowObjects(const VXRowObjects &) = delete;
    VXRowObjects &operator=(const VXRowObjects &) = delete;

    /** The object as a VXKeyValueCoding *; it need not exist. */
    QVariant object(const VXManagedObjectID &objectID);
    /** The predicate with object IDs among its values replaced by objects. */
    VXPredicate withObjects(const VXPredicate &predicate);

private:
    class Object final : public VXKeyValueCoding
    {
    public:
        Object(VXRowObjects &objects, const VXFetchedRow *stored) : _objects(objects), _stored(stored) {}
        QVariant valueForKey(const QString &key) const override;

    private:
        VXRowObjects &_objects;
        const VXFetchedRow *const _stored; // nullptr: there is none
    };

    QVariant withObjects(const QVariant &value);
    VXExpression withObjects(const VXExpression &expression);

    const VXRowTables _tables;
    std::deque<Object> _made;
    QHash<VXManagedObjectID, Object *> _byID;
};
