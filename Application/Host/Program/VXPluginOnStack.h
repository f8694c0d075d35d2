#pragma once

#include <string_view>

/**
 * The path of the plugin bundle whose code is innermost on the calling thread's stack; empty if there is none. It does
 * not slow down calls of plugins, and covers every way into one. The text stays valid. Allocates nothing after
 * `VXPrepareStackWalk` was called, so a signal handler may call it, but a stack that was overwritten can crash it.
 */
std::string_view VXPluginOnStack() noexcept;

/** Loads what walking the stack needs. */
void VXPrepareStackWalk();
