#pragma once

#include <QtCore/QtGlobal>

class VXHostOptions;

/** How many the option "limit" asks for: `usual` without it; the greatest number for 0, which is no limit. */
[[nodiscard]] qsizetype VXLimitOption(const VXHostOptions &options, qsizetype usual);
