#pragma once

#include <QtCore/QLatin1StringView>

/** User defaults of the program with windows that the preferences show and others heed. */
namespace VXDesktopSettings {
/** Whether calls and messages that come in are reported; true unless the user has changed it. */
inline constexpr QLatin1StringView tellsNewsKey("desktop.tells_news");
/** Whether closing the window keeps the program running in the tray. */
inline constexpr QLatin1StringView keepsRunningKey("desktop.keeps_running");
} // namespace VXDesktopSettings
