#pragma once

#include <QtCore/QString>

/**
 * For a file that is to be written there: a link goes, as it leads to where others may read; a folder, or whatever else is no
 * file, is somebody's own, and goes to the trash. False when that stays, which is logged.
 */
[[nodiscard]] bool VXMakeWayForFile(const QString &path);
