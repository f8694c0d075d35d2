#pragma once

#include "VXGammuSession.h"

#include <QtCore/QVariant>

#include <utility>
#include <vector>

/** What a phone tells about itself, as device properties: key, and localized property or, where the phone does not
 *  tell, an invalid value. For the phone's worker. */
using VXGammuProperties = std::vector<std::pair<QString, QVariant>>;

/** What stays: manufacturer, model, firmware, IMEI, number. */
VXGammuProperties VXReadGammuIdentity(VXGammuSession &session);
/** What changes: battery and signal. */
VXGammuProperties VXReadGammuState(VXGammuSession &session);
