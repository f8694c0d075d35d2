#pragma once

#include "VXHostCommand.h"

#include <functional>

class VXPluginManager;

/** What becomes of a command when a plugin has the program quit while it is loaded, as one whose store does not open. */
enum class VXWhenQuitting {
    Fail,
    Run, // for what mends it
};

/**
 * Starts the plugins, only those that ship with --safe-mode, runs a command among them, and shuts them down again once
 * they agree to that, or have taken too long. The command's answer and the user's changes are written before. @return the
 * command's status; Failed when it threw.
 */
[[nodiscard]] int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command,
                                   VXWhenQuitting whenQuitting = VXWhenQuitting::Fail);
