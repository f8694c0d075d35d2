#pragma once

#include "VXHostCommand.h"

#include <optional>

/** How many the option "limit" asks for: `usual` without it; the greatest number for 0, which is no limit. None, with the usage
 *  told, when it is no number. */
[[nodiscard]] std::optional<qsizetype> VXLimitOption(VXHostContext &context, qsizetype usual);
