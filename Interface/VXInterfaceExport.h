#pragma once

/** Marks what libVornixInterface shows to applications and plugins; all else is hidden. */
#define VX_INTERFACE_EXPORT [[gnu::visibility("default")]]
