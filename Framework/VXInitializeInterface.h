#pragma once

#include "VXFrameworkExport.h"

/**
 * Prepares the framework for a user interface: registers the value transformers that views refer to by name: those of
 * devices under their class names (VXDeviceTransformer.h), "VXPhonebookTransformer" for lists of phonebook strings and
 * "VXDisplayStringForPhonebookString" for one. To be called by a program with windows before it shows the first one;
 * further calls do nothing. Any thread.
 */
VX_EXPORT void VXInitializeInterface();
