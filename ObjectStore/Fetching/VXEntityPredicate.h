#pragma once

#include "VXEntityDescription.h"
#include "VXError.h"
#include "VXPredicate.h"
#include "VXSortDescriptor.h"

#include <optional>

/** What a key path that starts at the objects of an entity leads to. */
struct VX_STORE_EXPORT VXEntityPath
{
    const VXPropertyDescription *property = nullptr; // nullptr: a number of objects (@count)
    bool isToMany = false;
    /** The path continues inside a property list, which may contain anything. */
    bool leadsInside = false;

    /** Empty, with the problem, when it leads nowhere. */
    [[nodiscard]] static std::optional<VXEntityPath> follow(const VXEntityDescription &entity, const QStringList &keys,
                                                            QString *problem);
};

/** Why objects of the entity cannot be sorted so: a key path leads nowhere, or to objects. Null when they can. Reentrant. */
[[nodiscard]] VX_STORE_EXPORT QString VXSortProblem(const QList<VXSortDescriptor> &order,
                                                    const VXEntityDescription &entity);

/**
 * Adapts a predicate to objects of the entity: where an attribute that is a date, a number or a truth value is compared
 * with a text, the text is converted ("2026-01-01" is a date in local time). What would silently match nothing is
 * refused with the reason: keys that the entity does not have, values of another type, whole numbers that the attribute
 * cannot hold, a path to many values where a comparison takes one (without ANY, ALL or NONE), BETWEEN without two values
 * in order, a pattern that is none. Reentrant.
 */
[[nodiscard]] VX_STORE_EXPORT std::optional<VXPredicate>
VXPredicateForEntity(const VXPredicate &predicate, const VXEntityDescription &entity, QString *problem);
