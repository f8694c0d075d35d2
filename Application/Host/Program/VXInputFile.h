#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

/** Opens a regular file for reading, or standard input if the name is "-". False, with the reason, on failure. */
[[nodiscard]] bool VXOpenInputFile(QFile &file, QString *reason);
