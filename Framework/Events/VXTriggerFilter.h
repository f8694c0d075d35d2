#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"
#include "VXPredicate.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** What a trigger's filter says about an event's object. */
struct VXFilterVerdict
{
    enum class Kind {
        NoFilter,
        Passed,
        Rejected,
        Broken, // the filter cannot be applied to the object
    };

    Kind kind;
    std::optional<VXPredicate> predicate = {};
    QString problem = {}; // of a broken filter
};

/**
 * Applies the filter of a trigger, whether or not the trigger uses its filter. On the thread of the trigger's context.
 */
VX_EXPORT VXFilterVerdict VXApplyTriggerFilter(const VXManagedObject &trigger, const QVariant &object);

/** Why a regular expression in the predicate cannot be used; null when all can. Any thread. */
VX_EXPORT QString VXProblemOfPatterns(const VXPredicate &predicate);

/**
 * For a filter that rejected an object: a key that it needs and the object lacks, which may be the reason; null for
 * none.
 */
VX_EXPORT QString VXReasonForRejection(const VXFilterVerdict &verdict, const QVariant &object);
