#pragma once

#include <QtCore/QString>

class VXMainWindow;

/** Shows each section and window in turn and writes a picture of it into the folder, as "contacts.png". False when that fails. */
[[nodiscard]] bool VXWritePictures(VXMainWindow &window, const QString &folder);
