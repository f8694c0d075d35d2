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
/** A bash completion script. */
[[nodiscard]] QString VXHostBashCompletion(const VXHostCommandTable &commands);
/** A man page in the man(7) macros. */
[[nodiscard]] QString VXHostManPage(const VXHostCommandTable &commands, const QString &version);
