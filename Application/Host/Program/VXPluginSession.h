#pragma once

#include "VXHostCommand.h"

#include <functional>

class VXPluginManager;

/**
 * What happens to a command if a plugin makes the program quit while it is loaded, for example one whose store does not
 * open.
 */
enum class VXWhenQuitting {
    Fail,
    Run, // for commands that repair it
};

/**
 * Starts the plugins (with --safe-mode only those that ship with the program), runs a command with them, and shuts them
 * down again once they agree, or have taken too long. The command's answer and the user's changes are written before
 * that. @return the command's status; Failed if it threw.
 */
[[nodiscard]] int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command,
                                   VXWhenQuitting whenQuitting = VXWhenQuitting::Fail);
