#pragma once

struct VXHostContext;

/**
 * "vornix search check": compares the search index with the stores, and reports the differences. Needs loaded plugins.
 */
[[nodiscard]] int VXCheckSearch(VXHostContext &context);
