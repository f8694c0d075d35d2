#include "VXObjectRegistry.h"

#include "VXEntityDescription.h"

#include <algorithm>
#include <utility>

// That there is none is kept as well: who looks in vain mostly puts one there.
VXObjectRegistry::Shelf *VXObjectRegistry::shelf(const Key &key) const
{
    if (_lastKey == key)
        return _lastShelf;
    const auto found = _shelves.constFind(key);
    _lastKey = key;
    _lastShelf = found == _shelves.cend() ? nullptr : const_cast<Shelf *>(&*found);
    return _lastShelf;
}

VXManagedObject *VXObjectRegistry::find(const VXManagedObjectID &objectID) const
{
    const Shelf *const found = objectID.isNull() ? nullptr : shelf(keyOf(objectID));
    return found == nullptr ? nullptr : (*found)[placeOf(objectID)];
}

void VXObjectRegistry::insert(const VXManagedObjectID &objectID, VXManagedObject *object)
{
    const Key key = keyOf(objectID);
    if (shelf(key) == nullptr)
        _lastShelf = &*_shelves.insert(key, Shelf{});
    if (std::exchange((*_lastShelf)[placeOf(objectID)], object) == nullptr)
        ++_count;
}

void VXObjectRegistry::remove(const VXManagedObjectID &objectID)
{
    const Key key = keyOf(objectID);
    Shelf *const found = shelf(key);
    if (found == nullptr || std::exchange((*found)[placeOf(objectID)], nullptr) == nullptr)
        return;
    --_count;
    if (std::any_of(found->cbegin(), found->cend(), [](const VXManagedObject *object) { return object != nullptr; }))
        return;
    _shelves.remove(key);
    _lastShelf = nullptr; // that of the key; others may have moved
}

void VXObjectRegistry::clear()
{
    _lastKey = {};
    _lastShelf = nullptr;
    _shelves.clear();
    _count = 0;
}
