#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

/** Opens a file for reading, a regular one, or standard input where its name is "-". False, with the reason, on failure. */
[[nodiscard]] bool VXOpenInputFile(QFile &file, QString *reason);
