#pragma once

#include "VXError.h"
#include "VXGammuFailure.h"

#include <QtCore/QString>

/** The domain of errors of the library; the codes are its numbers. */
extern const QString VXGammuErrorDomain;

/** The plugin's text in the user's language; the key itself when there is none. */
QString VXGammuLocalizedString(const QString &key);

/** What the phone's process says went wrong, for the user; null when nothing did. */
VXError VXErrorFromGammu(const VXGammuFailure &failure);
