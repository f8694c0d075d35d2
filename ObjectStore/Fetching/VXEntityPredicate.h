#pragma once

#include "VXEntityDescription.h"
#include "VXError.h"
#include "VXPredicate.h"

#include <optional>

/** Where a key path leads from the objects of an entity. */
struct VX_STORE_EXPORT VXEntityPath
{
    const VXPropertyDescription *property = nullptr; // nullptr: to a number of objects
    bool isToMany = false;
    /** The path goes on inside a property list, which may hold anything. */
    bool leadsInside = false;

    /** Empty, with what is wrong, when it leads nowhere. */
    [[nodiscard]] static std::optional<VXEntityPath> follow(const VXEntityDescription &entity, const QStringList &keys,
                                                            QString *problem);
};

/**
 * The predicate as objects of the entity can meet it: where an attribute is compared with a text and is itself a date,
 * a number or a truth value, the text is read as one ("2026-01-01", local time, is a date). Refused, with the reason, are keys that
 * the entity does not have and comparisons that can never hold, which would else match nothing without a word. Reentrant.
 */
[[nodiscard]] VX_STORE_EXPORT std::optional<VXPredicate>
VXPredicateForEntity(const VXPredicate &predicate, const VXEntityDescription &entity, QString *problem);
