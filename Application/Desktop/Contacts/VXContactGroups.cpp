#include "VXContactGroups.h"

#include "VXManagedObjectContext.h"

using namespace Qt::StringLiterals;

VXContactGroups VXReadContactGroups(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    VXManagedObjectContext context(coordinator);
    VXFetchRequest request(*coordinator->model().entityForName(u"VXGroup"_s));
    request.sortDescriptors = {{.key = u"name"_s}};
    const auto found = context.executeFetchRequest(request);
    VXContactGroups groups;
    if (found) {
        for (const VXManagedObjectPtr &group : *found)
            groups.append({group->valueForKey(u"name"_s).toString(), group->objectID()});
    }
    return groups;
}
