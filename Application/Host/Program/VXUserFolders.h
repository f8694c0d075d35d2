#pragma once

#include <QtCore/QString>

/**
 * Why nothing can be stored in the user's folders, for people: there is no home folder, or one of the folders, or the
 * place where it would be made, is not writable or has no space. Null if nothing is wrong.
 */
[[nodiscard]] QString VXProblemOfUserFolders();
