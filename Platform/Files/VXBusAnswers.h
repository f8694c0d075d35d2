#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>

/**
 * False for a D-Bus bus that accepts connections and does not answer: a client would wait forever, and keep the program
 * from ending. True for one that answers, and where connecting will report what is wrong. `address` is in D-Bus's
 * notation; of several addresses the first with a local socket is used. Waits at most a second. Any thread.
 */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXBusAnswers(const QByteArray &address);
