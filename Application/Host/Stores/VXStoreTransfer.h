#pragma once

#include "VXHostCommand.h"

#include <QtCore/QStringList>

// The verbs of "vornix store" that concern whole stores of data plugins: upgrade, import, export, rollback.

/** Their names; each takes NAME, import and export also a folder, and rollback one if it likes. */
[[nodiscard]] const QStringList &VXStoreTransferVerbs();
/** Carries one out, among the plugins. */
[[nodiscard]] int VXRunStoreTransfer(VXHostContext &context);
