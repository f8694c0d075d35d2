#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class VXPluginManager;

/**
 * The plugins with what they need and what they hold, in Graphviz's language: a full line leads to a dependency, a
 * dashed one to a part. Plugins that are not loaded are grey, dependencies that are not known red.
 */
[[nodiscard]] QString VXPluginGraph(const VXPluginManager &manager);

/** The same: {"plugins": [ID...], "missing": [ID...], "dependencies": [{"from", "to"}...], "children": [...]}. */
[[nodiscard]] QJsonObject VXPluginGraphJSON(const VXPluginManager &manager);
