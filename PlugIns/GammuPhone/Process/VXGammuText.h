#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <gammu.h>
#include <span>

// Conversions between the library's values and Qt's.

/** What the library says about an error, in the user's language. */
QString VXGammuErrorText(GSM_Error code);
/** An error of the library; `text` contains the placeholder "%1" for the library's own text. */
VXGammuFailure VXGammuTrouble(const QString &text, GSM_Error code);

/** Text of the library: UTF-16, big-endian, terminated by zero. Never null. */
QString VXTextFromGammu(const unsigned char *text);
/** False, with nothing written, if the text with its terminating zero does not fit. */
[[nodiscard]] bool VXTextToGammu(const QString &text, std::span<unsigned char> destination);

/** Whether a date's offset from UTC means anything: what a phone records for itself is in its own time. */
enum class VXGammuZone { Told, Local };
/**
 * The date with its offset from UTC; invalid if it is not a date. A phone's own time is assumed to be that of this
 * computer.
 */
QDateTime VXDateFromGammu(const GSM_DateTime &date, VXGammuZone zone);
GSM_DateTime VXDateToGammu(const QDateTime &date);

/** A location in a memory: a whole number from 1; 0 for anything else. */
int VXLocationFromVariant(const QVariant &value);

/** Adds the other party of a call or message in the way of records: a direction, and "from" or "to". */
void VXAddParties(QVariantMap &record, bool isIncoming, const QString &number);
