#pragma once

#include <QtCore/QList>

class VXPluginProxy;
struct VXHostContext;

/**
 * "plugins update": updates the plugins one after the other; with --check it only looks. Plugins that offer no updates
 * are mentioned only if a single one is requested.
 */
[[nodiscard]] int VXRunPluginUpdates(VXHostContext &context, const QList<const VXPluginProxy *> &plugins);
