#pragma once

/** Marks what libVornix shows to applications and plugins; all else is hidden. */
#define VX_EXPORT [[gnu::visibility("default")]]
