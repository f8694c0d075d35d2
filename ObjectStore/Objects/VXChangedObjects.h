#pragma once

#include "VXManagedObject.h"

/** The objects of a context with one kind of unsaved change, in the order of the changes; keeps them alive. */
class VX_STORE_EXPORT VXChangedObjects
{
public:
    bool isEmpty() const { return _count == 0; }
    qsizetype size() const { return _count; }
    QList<VXManagedObjectPtr> objects() const;

    /** An object may be in at most one such list. */
    void insert(const VXManagedObjectPtr &object);
    void remove(const VXManagedObject &object);
    void clear();

    /** Calls the function with each object; the list must not change meanwhile. */
    template <class Function>
    void forEach(const Function &function) const
    {
        for (const VXManagedObjectPtr &object : _places) {
            if (object)
                function(object);
        }
    }

private:
    void closeGaps();

    QList<VXManagedObjectPtr> _places; // null where an object was removed; objects know their index
    qsizetype _count = 0;
};
