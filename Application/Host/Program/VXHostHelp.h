#pragma once

#include "VXHostCommandTable.h"

#include <QtCore/QString>

// The program's documents, all made from its command table.

/** One line, as "usage: vornix log [--follow] [--level L]"; nullptr for the program itself. */
[[nodiscard]] QString VXHostUsage(const VXHostCommand *command);
/** All commands and the global options, aligned. */
[[nodiscard]] QString VXHostOverview(const VXHostCommandTable &commands);
/** What it is for, with the verbs it goes with and the values it takes. */
[[nodiscard]] QString VXHostOptionSummary(const VXHostOption &option);
[[nodiscard]] QString VXHostCommandHelp(const VXHostCommand &command, const VXHostCommandTable &commands);
/** Completion scripts, which ask the program itself for what there is. */
[[nodiscard]] QString VXHostBashCompletion(const VXHostCommandTable &commands);
[[nodiscard]] QString VXHostZshCompletion(const VXHostCommandTable &commands);
[[nodiscard]] QString VXHostFishCompletion(const VXHostCommandTable &commands);
/** A man page in the man(7) macros. */
[[nodiscard]] QString VXHostManPage(const VXHostCommandTable &commands, const QString &version);
