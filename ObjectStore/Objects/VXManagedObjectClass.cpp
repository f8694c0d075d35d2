#include "VXManagedObjectClass.h"

#include "VXMutex.h"

#include <QtCore/QHash>

namespace {

VXMutex lock;

QHash<QString, VXManagedObjectClass::Factory> &factories() VX_REQUIRES(lock)
{
    // never freed: plugins may be unloaded late
    static auto &byName = *new QHash<QString, VXManagedObjectClass::Factory>;
    return byName;
}

} // namespace

void VXManagedObjectClass::registerFactory(const QString &name, Factory factory)
{
    const VXMutexLocker locker(lock);
    factories().insert(name, factory);
}

void VXManagedObjectClass::removeClass(const QString &name)
{
    const VXMutexLocker locker(lock);
    factories().remove(name);
}

VXManagedObject *VXManagedObjectClass::make(const VXEntityDescription &entity, VXObjectClasses classes)
{
    const QString &name = entity.managedObjectClassName();
    if (name.isNull() || classes == VXObjectClasses::Plain)
        return new VXManagedObject;
    Factory factory = nullptr;
    {
        const VXMutexLocker locker(lock);
        factory = factories().value(name);
    }
    return factory != nullptr ? factory() : new VXManagedObject;
}
