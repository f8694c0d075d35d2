#pragma once

#include <QtCore/QString>

class VXMainWindow;

/**
 * Shows each section and window in turn and writes a picture of it into the folder, such as "contacts.png". False on
 * failure.
 */
[[nodiscard]] bool VXWritePictures(VXMainWindow &window, const QString &folder);
