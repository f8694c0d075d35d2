#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>

/**
 * False for a D-Bus bus that takes connections and does not answer: who connects to it waits for ever, and with it the end of the
 * program. True for one that answers, and where it is up to the connection to tell what is wrong. `address` is as D-Bus writes
 * it; of several the first that names a local socket counts. Waits a second at most. Any thread.
 */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXBusAnswers(const QByteArray &address);
