#pragma once

#include "VXModelDefinition.h"

/** The definition as people write it; VXParseModel reads it back. */
VX_STORE_EXPORT QString VXModelSource(const VXModelDefinition &definition);

/** The definition as a graph in Graphviz's language: entities with their attributes, inheritance, relationships. */
VX_STORE_EXPORT QString VXModelGraph(const VXModelDefinition &definition);
