#pragma once

#include <QtCore/QString>

/**
 * Why nothing can be kept in the user's folders, for people: there is no home, one of the folders, or the place where it would
 * be made, may not be written, or has no room. Null when nothing is wrong.
 */
[[nodiscard]] QString VXProblemOfUserFolders();
