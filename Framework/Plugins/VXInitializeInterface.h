#pragma once

#include "VXFrameworkExport.h"

/**
 * Makes the framework ready for a user interface: registers the value transformers that views name: those of devices
 * under their class names (VXDeviceTransformer.h), "VXPhonebookTransformer" for lists of phonebook strings and
 * "VXDisplayStringForPhonebookString" for one. For the program that shows windows, before the first of them; again does
 * nothing. Any thread.
 */
VX_EXPORT void VXInitializeInterface();
