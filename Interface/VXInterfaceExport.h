#pragma once

/** Marks what libVornixInterface exports to applications and plugins; everything else is hidden. */
#define VX_INTERFACE_EXPORT [[gnu::visibility("default")]]
