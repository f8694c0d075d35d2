#pragma once

#include "VXManagedObject.h"

/** The objects of a context with one kind of unsaved change, in the order they were changed; it holds them. */
class VX_STORE_EXPORT VXChangedObjects
{
public:
    bool isEmpty() const { return _count == 0; }
    qsizetype size() const { return _count; }
    QList<VXManagedObjectPtr> objects() const;

    /** An object is in one such list at most. */
    void insert(const VXManagedObjectPtr &object);
    void remove(const VXManagedObject &object);
    void clear();

    /** Calls with each; nothing may be changed meanwhile. */
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

    QList<VXManagedObjectPtr> _places; // null where one was removed; objects know their place
    qsizetype _count = 0;
};
