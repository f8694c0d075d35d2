#pragma once

#include <QtCore/QString>

class VXHostOptions;

/** Which option's value cannot be read, whatever there is, and why: of those whose placeholder says N (a number) or PREDICATE.
 *  Null when none is wrong. */
[[nodiscard]] QString VXProblemOfOptionForms(const VXHostOptions &options);
