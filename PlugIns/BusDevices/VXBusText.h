#pragma once

#include "VXError.h"

#include <QtCore/QString>

/** The framework's text in the user's language, or the key itself if there is none. */
QString VXBusText(const QString &key);

/** An error for the user; a null suggestion is omitted. */
VXError VXBusError(const QString &description, const QString &suggestion = {});
