#pragma once

#include "VXServicesExport.h"

#include <optional>

/**
 * For how many seconds nobody has touched keyboard or mouse: by the X screen saver extension, on Wayland by the idle monitor of
 * GNOME's shell. None where neither can be asked. Any thread; waits for the desktop, a quarter of a second at most for each.
 */
[[nodiscard]] VX_SERVICES_EXPORT std::optional<double> VXSessionIdleTime();
