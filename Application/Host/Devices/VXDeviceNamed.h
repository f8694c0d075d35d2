#pragma once

#include "VXHostCommand.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

/**
 * The known device that the text means: the one into which it leads as a URL, or the only one with that identifier or
 * name; null, with a message, if there is none.
 */
[[nodiscard]] QUrl VXDeviceNamed(VXHostContext &context, const QString &text);
/** The same without a message. */
[[nodiscard]] QUrl VXDeviceWithName(const QString &text);
