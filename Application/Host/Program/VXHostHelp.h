#pragma once

#include "VXHostCommandTable.h"

#include <QtCore/QString>

class VXHostOptions;

// The program's documents, all made from its command table.

/** As "usage: vornix log [--follow] [--level L]", on lines of at most 79 characters; nullptr for the program itself. With a
 *  verb that the command describes, of that verb alone. */
[[nodiscard]] QString VXHostUsage(const VXHostCommand *command, const QString &verb = {});
/** Of the command, and the verb, of a command line. */
[[nodiscard]] QString VXHostUsage(const VXHostOptions &options);
/** Of a command with verbs what each takes, as "devices rename DEVICE NAME". */
[[nodiscard]] QStringList VXHostVerbLines(const VXHostCommand &command);
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
