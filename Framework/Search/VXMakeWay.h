#pragma once

#include <QtCore/QString>

/**
 * Clears the way for a file that is to be written at the path. A symbolic link is removed, since it may lead to where
 * others can read. A folder, or anything else that is no regular file, belongs to somebody and goes to the trash.
 * Returns false, and logs, when the obstacle could not be moved.
 */
[[nodiscard]] bool VXMakeWayForFile(const QString &path);
/** The same for a folder: a symbolic link is removed, anything else that is no folder goes to the trash. */
[[nodiscard]] bool VXMakeWayForFolder(const QString &path);
