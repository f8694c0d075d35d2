#pragma once

#include "VXHostCommand.h"

// The verbs of "vornix store" that concern whole stores of data plugins: upgrade, import, export, rollback.

[[nodiscard]] const QList<VXHostVerb> &VXStoreTransferVerbs();
/** Carries one out, among the plugins. */
[[nodiscard]] int VXRunStoreTransfer(VXHostContext &context);
