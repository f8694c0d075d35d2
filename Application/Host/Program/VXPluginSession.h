#pragma once

#include "VXHostCommand.h"

#include <functional>

class VXPluginManager;

/**
 * Starts the plugins, only the built-in ones with --safe-mode, runs a command among them, and shuts them down again.
 * Whether they agree to that is not asked here. @return the command's status; Failed when it threw.
 */
[[nodiscard]] int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command);
