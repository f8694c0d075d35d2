#pragma once

#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

/**
 * The classes of managed objects, by the name that entities give ("entity Call (VXCall)"). An entity whose class is not
 * registered has plain VXManagedObjects. Any thread.
 */
class VX_STORE_EXPORT VXManagedObjectClass
{
public:
    using Factory = VXManagedObject *(*)();

    template <class T>
    static void registerClass(const QString &name)
    {
        registerFactory(name, []() -> VXManagedObject * { return new T; });
    }
    /** Objects that exist keep their class. */
    static void removeClass(const QString &name);

private:
    friend class VXManagedObjectContext;

    static void registerFactory(const QString &name, Factory factory);
    static VXManagedObject *make(const VXEntityDescription &entity, VXObjectClasses classes);
};
