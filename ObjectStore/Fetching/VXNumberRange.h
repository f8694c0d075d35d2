#pragma once

#include "VXAttributeType.h"
#include "VXPredicate.h"

#include <QtCore/QVariant>

#include <optional>

/** The whole numbers that attributes of a type can hold, and others that a comparison meets. */
struct VXNumberRange
{
    qlonglong least;
    qlonglong most;

    /** Empty for types that hold something else. */
    static std::optional<VXNumberRange> ofType(VXAttributeType type);
    /** What "@count" can be. */
    static VXNumberRange ofCount();

    /** Whether a number of the range, or none, can compare so with the value, a list for In and Between. True for
     *  operators that do not compare numbers. */
    bool canBe(VXPredicate::Operator comparison, const QVariant &value) const;

private:
    bool holds(const QVariant &value) const;
};

/** The operator as the comparison reads from its right side. */
VXPredicate::Operator VXMirrored(VXPredicate::Operator comparison);
