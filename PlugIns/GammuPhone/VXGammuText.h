#pragma once

#include "VXError.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <gammu.h>
#include <span>

// Between the library's values and Qt's. All functions are pure, and may be called from any thread.

/** The domain of errors of the library; the codes are its GSM_Error. */
extern const QString VXGammuErrorDomain;

/** The plugin's text in the user's language; the key itself when there is none. */
QString VXGammuLocalizedString(const QString &key);

/** What the library says about an error, in the user's language. */
QString VXGammuErrorText(GSM_Error code);
/** An error of the library; `description` is localized and has the place "%1" for the library's text. */
VXError VXMakeGammuError(const QString &description, GSM_Error code);
/** An error for the caller who asked for what can not be: a localized text, under VXErrorDomain. */
VXError VXMakeGammuRequestError(const QString &description);

/** The library's text: UTF-16, big-endian, ended by a zero. Never null. */
QString VXTextFromGammu(const unsigned char *text);
/** False, with nothing written, when the text does not fit with its ending zero. */
[[nodiscard]] bool VXTextToGammu(const QString &text, std::span<unsigned char> destination);

/** Invalid for what is no date. The library's zone is an offset from UTC in seconds. */
QDateTime VXDateFromGammu(const GSM_DateTime &date);
GSM_DateTime VXDateToGammu(const QDateTime &date);

/** Where something lies in a memory: a whole number from 1; 0 for anything else. */
int VXLocationFromVariant(const QVariant &value);

/** The number without the spaces, dots and brackets that people write; null when it is none that can be dialled. */
QString VXDialableNumber(const QString &number);
