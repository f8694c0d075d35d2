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
        Broken, // it cannot be applied to the object
    };

    Kind kind;
    std::optional<VXPredicate> predicate = {};
    QString problem = {}; // of a broken one
};

/** Applies the filter of a trigger, whether or not the trigger uses it. On the thread of the trigger's context. */
VX_EXPORT VXFilterVerdict VXApplyTriggerFilter(const VXManagedObject &trigger, const QVariant &object);

/** What a filter that rejects asks of the object and does not get, which may be why; null for nothing. */
VX_EXPORT QString VXReasonForRejection(const VXFilterVerdict &verdict, const QVariant &object);
