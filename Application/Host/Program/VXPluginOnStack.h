#pragma once

#include <string_view>

/**
 * The path of the plugin bundle whose code is innermost on the calling thread's stack; empty for none. It costs those who
 * call plugins nothing, and knows every way into one. The text stays valid. Allocates nothing once `VXPrepareStackWalk`
 * was called, so a signal handler may ask, but a stack that was overwritten can end it.
 */
std::string_view VXPluginOnStack() noexcept;

/** Loads what a walk up the stack needs. */
void VXPrepareStackWalk();
