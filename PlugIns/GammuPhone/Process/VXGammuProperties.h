#pragma once

#include "VXGammuSession.h"

#include <QtCore/QVariant>

/** What stays of what a phone tells about itself: manufacturer, model, firmware, imei, phoneNumber. A value that the phone
 *  does not tell is invalid. */
QVariantMap VXReadGammuIdentity(VXGammuSession &session);
/** What no other phone has; invalid when it does not tell. */
QVariant VXReadGammuIMEI(VXGammuSession &session);
/** What changes: battery and signal, in percent. */
QVariantMap VXReadGammuState(VXGammuSession &session);
