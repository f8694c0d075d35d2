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

/** What a list of stored objects shows. */
struct VXListQuery
{
    VXPersistentStoreCoordinator::Ptr coordinator = {};
    std::optional<VXFetchRequest> request = {}; // its limit, offset and batch size do not count
    /** Makes the row of an object, all but its ID. On a thread of the list's own, which may ask its VXPhonebookManager. */
    std::function<VXListRow(const VXManagedObjectPtr &object)> makeRow = {};
};
