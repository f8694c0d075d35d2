#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class VXPluginManager;

/**
 * The plugins with their dependencies and parts, in Graphviz's language: a solid line leads to a dependency, a dashed
 * one to a part. Plugins that are not loaded are grey, unknown dependencies red.
 */
[[nodiscard]] QString VXPluginGraph(const VXPluginManager &manager);

/** The same: {"plugins": [ID...], "missing": [ID...], "dependencies": [{"from", "to"}...], "children": [...]}. */
[[nodiscard]] QJsonObject VXPluginGraphJSON(const VXPluginManager &manager);
