#pragma once

#include "VXError.h"
#include "VXPredicate.h"

#include <QtCore/QString>

#include <optional>

// How the rows of smart filters name what comparisons are made of. Reentrant.

/** As predicates write it: "==", "CONTAINS"; read in any case of letters. */
QString VXSmartFilterOperatorName(VXPredicate::Operator comparison);
std::optional<VXPredicate::Operator> VXSmartFilterOperatorFromName(const QString &name);
/** True for those that compare nothing but texts. */
bool VXSmartFilterIsTextOperator(VXPredicate::Operator comparison);

/** "c", "d", "cd", or empty. */
QString VXSmartFilterOptionsName(VXTextOptions options);
std::optional<VXTextOptions> VXSmartFilterOptionsFromName(const QString &name);

/** Tells a caller who asked why there is no predicate. */
void VXFailFilter(VXError *error, const QString &reason);
