#pragma once

#include "VXFrameworkExport.h"

#include <chrono>

/** Sets the clock for the age of answers of phonebook managers; nullptr restores it. Any thread. Not installed; for tests. */
VX_EXPORT void VXSetPhonebookClock(std::chrono::steady_clock::time_point (*clock)());
