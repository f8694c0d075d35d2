#pragma once

#include "VXFetchRequest.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/** A row of a list as it is shown: values, no objects, so that it may cross threads. */
struct VXListRow
{
    VXManagedObjectID objectID = {};
    QString text = {};   // the whole row as one sentence, for assistive technology
    QVariant value = {}; // what its delegate draws
};

class VXManagedObjectContext;

/** What a list of stored objects shows. */
struct VXListQuery
{
    VXPersistentStoreCoordinator::Ptr coordinator = {};
    std::optional<VXFetchRequest> request = {}; // its limit, offset and batch size do not count
    /** The first so many, in the request's order, where a store finds them faster than by the request; none: by the request. */
    std::function<std::optional<QList<VXManagedObjectPtr>>(VXManagedObjectContext &context, qsizetype limit,
                                                           VXError *error)>
        first = {};
    /** Makes the row of an object, all but its ID. On a thread of the list's own, which may ask its VXPhonebookManager. */
    std::function<VXListRow(const VXManagedObjectPtr &object)> makeRow = {};
};
