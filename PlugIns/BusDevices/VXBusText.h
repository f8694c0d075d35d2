#pragma once

#include "VXError.h"

#include <QtCore/QString>

/** The framework's text in the user's language; the key itself when there is none. */
QString VXBusText(const QString &key);

/** An error for the user; a null suggestion is left out. */
VXError VXBusError(const QString &description, const QString &suggestion = {});
