#pragma once

#include "VXFoundObject.h"
#include "VXRowDelegate.h"

/** Shows in a row how a call went: the detail ("Incoming call · 1 min 5 s") and the icon. */
void VXShowCall(const VXFoundCall &call, VXRowContents *contents);
