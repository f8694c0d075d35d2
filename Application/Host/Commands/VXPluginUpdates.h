#pragma once

#include <QtCore/QList>

class VXPluginProxy;
struct VXHostContext;

/** "plugins update": updates the plugins one after the other, with --check only looks. Those that offer none are told
 *  of only where one is asked for. */
[[nodiscard]] int VXRunPluginUpdates(VXHostContext &context, const QList<const VXPluginProxy *> &plugins);
