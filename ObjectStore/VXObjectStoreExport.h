#pragma once

/** Marks what libVornixObjectStore shows to the floors above it; all else is hidden. */
#define VX_STORE_EXPORT [[gnu::visibility("default")]]
