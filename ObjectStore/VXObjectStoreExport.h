#pragma once

/** Marks what libVornixObjectStore exports to the layers above; everything else is hidden. */
#define VX_STORE_EXPORT [[gnu::visibility("default")]]
