#pragma once

#include "VXHostCommandTable.h"

#include <QtCore/QString>

class VXHostOptions;

// The program's documents, all made from its command table.

/**
 * Usage such as "usage: vornix log [--follow] [--level L]", in lines of at most 79 characters; nullptr for the program
 * itself. With a verb that the command describes, only that verb's.
 */
[[nodiscard]] QString VXHostUsage(const VXHostCommand *command, const QString &verb = {});
/** The usage for the command and verb of a command line. */
[[nodiscard]] QString VXHostUsage(const VXHostOptions &options);
/** For a command with verbs, what each takes, such as "devices rename DEVICE NAME". */
[[nodiscard]] QStringList VXHostVerbLines(const VXHostCommand &command);
/** All commands and the global options, aligned. */
[[nodiscard]] QString VXHostOverview(const VXHostCommandTable &commands);
/** What it is for, with the verbs it goes with and the values it accepts. */
[[nodiscard]] QString VXHostOptionSummary(const VXHostOption &option);
[[nodiscard]] QString VXHostCommandHelp(const VXHostCommand &command, const VXHostCommandTable &commands);
/** Completion scripts, which ask the program itself for words. */
[[nodiscard]] QString VXHostBashCompletion(const VXHostCommandTable &commands);
[[nodiscard]] QString VXHostZshCompletion(const VXHostCommandTable &commands);
[[nodiscard]] QString VXHostFishCompletion(const VXHostCommandTable &commands);
/** A man page in the man(7) macros. */
[[nodiscard]] QString VXHostManPage(const VXHostCommandTable &commands, const QString &version);
