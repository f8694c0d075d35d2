#pragma once

#include <QtCore/QString>

class VXHostOptions;

/**
 * The option whose value is malformed in any case, and why: checks those with the placeholder N (a number),
 * SECONDS or PREDICATE. Null if none is wrong.
 */
[[nodiscard]] QString VXProblemOfOptionForms(const VXHostOptions &options);
