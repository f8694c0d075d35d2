#pragma once

/** Marks what libVornixPlatform exports to the layers above; everything else is hidden. */
#define VX_PLATFORM_EXPORT [[gnu::visibility("default")]]
