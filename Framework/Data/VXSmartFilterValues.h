#pragma once

#include "VXError.h"
#include "VXPredicate.h"

#include <QtCore/QString>

#include <optional>

// The names that rows of smart filters use for the parts of comparisons. Reentrant.

/** The operator as predicates write it: "==", "CONTAINS"; reading ignores case. */
QString VXSmartFilterOperatorName(VXPredicate::Operator comparison);
std::optional<VXPredicate::Operator> VXSmartFilterOperatorFromName(const QString &name);
/** Whether the operator compares only texts. */
bool VXSmartFilterIsTextOperator(VXPredicate::Operator comparison);

/** "c", "d", "cd", or empty. */
QString VXSmartFilterOptionsName(VXTextOptions options);
std::optional<VXTextOptions> VXSmartFilterOptionsFromName(const QString &name);

/** Sets the error that says why there is no predicate. */
void VXFailFilter(VXError *error, const QString &reason);
