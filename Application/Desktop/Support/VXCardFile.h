#pragma once

#include <QtCore/QString>

/** Whether the file is a vCard, by its name, or by its contents if the name does not tell. Any thread. */
[[nodiscard]] bool VXIsCardFile(const QString &path);
