#pragma once

#include <QtCore/QString>

/**
 * For a file that is to be written there: a link goes, as it leads to where others may read; a folder, or whatever else is no
 * file, is somebody's own, and goes to the trash. What another user has made, and this process cannot open, goes as well, as one
 * that was started by another user leaves it. False when something stays, which is logged.
 */
[[nodiscard]] bool VXMakeWayForFile(const QString &path);
/** The same for a folder: of what else is there only a link goes, the rest to the trash; a folder of another user, which cannot go
 *  there, lies beside its place with another name. */
[[nodiscard]] bool VXMakeWayForFolder(const QString &path);
/** The folder that all of them lie in, for the user alone; a link to another folder may lead there. False on failure. */
[[nodiscard]] bool VXMakeMetadataFolder(QString *reason);
