#pragma once

#include "VXManagedObject.h"
#include "VXPredicate.h"
#include "VXSortDescriptor.h"

#include <functional>

/** The predicate with its constants, including those in lists, replaced by the result of `replacement`. */
VXPredicate VXPredicateWithConstants(const VXPredicate &predicate,
                                     const std::function<QVariant(const QVariant &)> &replacement);

/** For stores: replaces objects in the predicate by their IDs. */
VXPredicate VXPredicateWithIDs(const VXPredicate &predicate);

/** Sorts the objects; equal objects keep their order. */
void VXSortObjects(QList<VXManagedObjectPtr> &objects, const QList<VXSortDescriptor> &descriptors);
