#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <gammu.h>
#include <span>

// Between the library's values and Qt's.

/** What the library says about an error, in the user's language. */
QString VXGammuErrorText(GSM_Error code);
/** An error of the library; `text` has the place "%1" for the library's own. */
VXGammuFailure VXGammuTrouble(const QString &text, GSM_Error code);

/** The library's text: UTF-16, big-endian, ended by a zero. Never null. */
QString VXTextFromGammu(const unsigned char *text);
/** False, with nothing written, when the text does not fit with its ending zero. */
[[nodiscard]] bool VXTextToGammu(const QString &text, std::span<unsigned char> destination);

/** Whether a date's offset from UTC means something: what a phone keeps for itself is in its own time. */
enum class VXGammuZone { Told, Local };
/** With its offset from UTC; invalid for what is no date. A phone's own time is taken for this computer's. */
QDateTime VXDateFromGammu(const GSM_DateTime &date, VXGammuZone zone);
GSM_DateTime VXDateToGammu(const QDateTime &date);

/** Where something lies in a memory: a whole number from 1; 0 for anything else. */
int VXLocationFromVariant(const QVariant &value);

/** Adds who a call or message is with, as records say it: a direction, and "from" or "to". */
void VXAddParties(QVariantMap &record, bool isIncoming, const QString &number);
