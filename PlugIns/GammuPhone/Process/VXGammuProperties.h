#pragma once

#include "VXGammuSession.h"

#include <QtCore/QVariant>

/**
 * What does not change about a phone: manufacturer, model, firmware, imei, phoneNumber. A value that the phone does not
 * provide is invalid.
 */
QVariantMap VXReadGammuIdentity(VXGammuSession &session);
/** What identifies this phone and no other; invalid if it does not say. */
QVariant VXReadGammuIMEI(VXGammuSession &session);
/** What changes: battery and signal, in percent. */
QVariantMap VXReadGammuState(VXGammuSession &session);
