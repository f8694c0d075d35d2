#pragma once

struct VXHostContext;

/** "vornix search check": compares what is searched with the stores, and answers what differs. Among the plugins. */
[[nodiscard]] int VXCheckSearch(VXHostContext &context);
