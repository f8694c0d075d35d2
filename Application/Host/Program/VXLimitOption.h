#pragma once

#include <QtCore/QtGlobal>

class VXHostOptions;

/** The number given with the option "limit": `usual` without it; the greatest number for 0, which means no limit. */
[[nodiscard]] qsizetype VXLimitOption(const VXHostOptions &options, qsizetype usual);
