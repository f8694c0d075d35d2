#pragma once

#include "VXFetchRequest.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/** A row of a list to be shown: values rather than objects, so that it may be passed between threads. */
struct VXListRow
{
    VXManagedObjectID objectID = {};
    QString text = {};   // the whole row as a sentence, for assistive technology
    QVariant value = {}; // drawn by the delegate
};

class VXManagedObjectContext;

/** The contents of a list of stored objects. */
struct VXListQuery
{
    VXPersistentStoreCoordinator::Ptr coordinator = {};
    std::optional<VXFetchRequest> request = {}; // its limit, offset and batch size are ignored
    /** The first so many objects, in the request's order, for stores that find them faster than by the request; none:
     *  use the request. */
    std::function<std::optional<QList<VXManagedObjectPtr>>(VXManagedObjectContext &context, qsizetype limit,
                                                           VXError *error)>
        first = {};
    /** Makes the row of an object, except for its ID. Called on a thread of the list's own, where VXPhonebookManager
     *  may be used. */
    std::function<VXListRow(const VXManagedObjectPtr &object)> makeRow = {};
};
