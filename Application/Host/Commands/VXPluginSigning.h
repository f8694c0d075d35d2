#pragma once

struct VXHostContext;

/** "plugins sign": packs a bundle, and writes the feed that offers it, signed with the author's key. */
[[nodiscard]] int VXSignPlugin(VXHostContext &context);
