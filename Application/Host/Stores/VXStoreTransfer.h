#pragma once

#include "VXHostCommand.h"

// The verbs of "vornix store" for whole stores of data plugins: upgrade, import, export, rollback.

[[nodiscard]] const QList<VXHostVerb> &VXStoreTransferVerbs();
/** Carries one out; needs loaded plugins. */
[[nodiscard]] int VXRunStoreTransfer(VXHostContext &context);
