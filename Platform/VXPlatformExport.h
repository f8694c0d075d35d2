#pragma once

/** Marks what libVornixPlatform shows to the floors above it; all else is hidden. */
#define VX_PLATFORM_EXPORT [[gnu::visibility("default")]]
