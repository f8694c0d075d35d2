#pragma once

#include <QtCore/QString>

/**
 * For a file that is to be written there: a link goes, as it leads to where others may read; a folder, or whatever else is no
 * file, is somebody's own, and goes to the trash. False when that stays, which is logged.
 */
[[nodiscard]] bool VXMakeWayForFile(const QString &path);
/** The same for a folder: of what else is there only a link goes, the rest to the trash. */
[[nodiscard]] bool VXMakeWayForFolder(const QString &path);
