#pragma once

#include "VXModelDefinition.h"

/** The definition as source text, which VXParseModel can read. */
VX_STORE_EXPORT QString VXModelSource(const VXModelDefinition &definition);

/**
 * The definition as a graph in the language of Graphviz: entities with their attributes, inheritance, relationships.
 */
VX_STORE_EXPORT QString VXModelGraph(const VXModelDefinition &definition);
