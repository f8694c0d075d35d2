#pragma once

#include "VXHostCommand.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

/** The known device that the text leads into as a URL, or the only one with that identifier or name; null, told, for none. */
[[nodiscard]] QUrl VXDeviceNamed(VXHostContext &context, const QString &text);
/** The same without a word. */
[[nodiscard]] QUrl VXDeviceWithName(const QString &text);
