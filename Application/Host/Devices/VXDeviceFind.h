#pragma once

#include "VXDeviceFinding.h"
#include "VXHostCommand.h"

#include <QtCore/QUrl>

#include <optional>

class VXPluginManager;

/**
 * "devices find": asks the device plugins which phones there are, shows them with numbers, and remembers the numbers
 * for "devices add".
 */
[[nodiscard]] int VXFindDevices(VXHostContext &context, VXPluginManager &manager);

/** The device that was made from what was found; empty if there is none. */
[[nodiscard]] QUrl VXDeviceMadeOf(const VXFoundDevice &device);

/** What the last "devices find" of this user showed under the number; none, with a message, if it showed nothing. */
[[nodiscard]] std::optional<VXFoundDevice> VXFoundDeviceWithNumber(VXHostContext &context, int number);
