#pragma once

#include "VXError.h"
#include "VXGammuFailure.h"

#include <QtCore/QString>

/** The domain of the library's errors; the codes are the library's numbers. */
extern const QString VXGammuErrorDomain;

/** The plugin's text in the user's language, or the key itself if there is none. */
QString VXGammuLocalizedString(const QString &key);

/** What the phone's process says went wrong, for the user; null if nothing did. */
VXError VXErrorFromGammu(const VXGammuFailure &failure);
