#pragma once

#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

/**
 * The classes of managed objects by the names used in entities ("entity Call (VXCall)"). Objects of an entity whose
 * class is not registered are plain VXManagedObjects. Any thread.
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
    /** Existing objects keep their class. */
    static void removeClass(const QString &name);

private:
    friend class VXManagedObjectContext;

    static void registerFactory(const QString &name, Factory factory);
    static VXManagedObject *make(const VXEntityDescription &entity, VXObjectClasses classes);
};
