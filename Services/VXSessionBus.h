#pragma once

#include <QtCore/QString>

/**
 * Why nobody should connect to the session bus: one that takes connections and does not answer keeps who connects, and with it
 * the end of the program, waiting for ever. Null when it answers, and when it is up to the connection to tell what is wrong. Waits
 * a second at most. Any thread.
 */
[[nodiscard]] QString VXProblemOfSessionBus();
