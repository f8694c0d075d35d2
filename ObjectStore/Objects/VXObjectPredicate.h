#pragma once

#include "VXManagedObject.h"
#include "VXPredicate.h"
#include "VXSortDescriptor.h"

#include <functional>

/** The predicate with its constants, also those in lists, replaced by what `replacement` makes of them. */
VXPredicate VXPredicateWithConstants(const VXPredicate &predicate,
                                     const std::function<QVariant(const QVariant &)> &replacement);

/** For stores: the IDs of objects in their place. */
VXPredicate VXPredicateWithIDs(const VXPredicate &predicate);

/** Sorts the objects; those that are equal keep their order. */
void VXSortObjects(QList<VXManagedObjectPtr> &objects, const QList<VXSortDescriptor> &descriptors);
