#pragma once

#include "VXHostCommand.h"

#include <functional>

class VXPluginManager;

/**
 * Starts the plugins, only those that ship with --safe-mode, runs a command among them, and shuts them down again once
 * they agree to that, or have taken too long. The command's answer and the user's changes are written before. @return the
 * command's status; Failed when it threw.
 */
[[nodiscard]] int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command);
