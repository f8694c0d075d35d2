#pragma once

#include "VXEvent.h"

#include <QtCore/QString>

/**
 * The text with "{event}", "{subtype}" and "{KEYPATH}", which stands for any value of the object, replaced. A missing
 * value is replaced by nothing. "{{" stands for "{". Replacements are not searched again.
 */
QString VXEventText(const QString &text, const VXEvent &event);
