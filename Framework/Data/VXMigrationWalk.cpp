#include "VXMigrationWalk.h"

#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMethodLog.h"

using namespace Qt::StringLiterals;

QString VXMigrationName(const VXManagedObjectID &objectID)
{
    return objectID.uriRepresentation().toString();
}

VXPropertyPair VXMigrationProperties(const QString &name, const VXManagedObject &oldObject,
                                     const VXManagedObject &newObject)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    const VXEntityDescription &old = oldObject.entity();
    const VXEntityDescription &made = newObject.entity();
    return run != nullptr ? run->propertiesNamed(name, old, made)
                          : VXPropertyPair{old.propertyForName(name), made.propertyForName(name)};
}

void VXNoteDroppedProperty(const VXManagedObject &oldObject, const QString &property)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    if (run == nullptr)
        return;
    QStringList &dropped = run->entity(oldObject.entity().name()).droppedProperties;
    if (!dropped.contains(property))
        dropped.append(property);
}

bool VXMigrationWalk::find(VXError *error)
{
    VXFetchRequest request(_entity);
    request.includesSubentities = false; // they are visited with their own entity
    request.batchSize = batchSize;
    _found = _context.executeFetchRequest(request, error);
    return _found.has_value();
}

VXError VXMigrationWalk::unreadable() const
{
    return VXMakeError(VXLocalizedString(u"Unable to read data file"_s), "%s", qUtf8Printable(_entity.name()));
}

void VXMigrationWalk::tellOfException(const VXManagedObject &object)
{
    VXLogClassMethod(VXLogWarning, VXDataPlugin, "migrateStore:toStore:error:",
                     "Exception while migrating object: "_L1 + VXMigrationName(object.objectID()));
}

bool VXMigrationWalk::isCancelled(VXError *error)
{
    const VXStoreMigration *const run = VXStoreMigration::current();
    if (run == nullptr || !run->isCancelled())
        return false;
    VXSetError(error, VXError(VXErrorDomain, VXErrorCancelled));
    return true;
}

bool VXMigrationWalk::advance()
{
    if (VXStoreMigration *const run = VXStoreMigration::current())
        run->advance();
    return true;
}
