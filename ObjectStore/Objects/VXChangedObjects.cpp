#include "VXChangedObjects.h"

QList<VXManagedObjectPtr> VXChangedObjects::objects() const
{
    if (_count == _places.size())
        return _places;
    QList<VXManagedObjectPtr> objects;
    objects.reserve(_count);
    forEach([&objects](const VXManagedObjectPtr &object) { objects.append(object); });
    return objects;
}

void VXChangedObjects::insert(const VXManagedObjectPtr &object)
{
    object->_place = _places.size();
    _places.append(object);
    ++_count;
}

void VXChangedObjects::remove(const VXManagedObject &object)
{
    const VXManagedObjectPtr removed = std::exchange(_places[object._place], nullptr);
    --_count;
    if (_places.size() > 2 * _count + 16)
        closeGaps();
}

void VXChangedObjects::clear()
{
    const QList<VXManagedObjectPtr> before = std::exchange(_places, {}); // released when this list is already empty
    _count = 0;
}

void VXChangedObjects::closeGaps()
{
    _places.removeIf([](const VXManagedObjectPtr &object) { return !object; });
    for (qsizetype place = 0; place < _places.size(); ++place)
        _places[place]->_place = place;
}
