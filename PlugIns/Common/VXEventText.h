#pragma once

#include "VXEvent.h"

#include <QtCore/QString>

/**
 * The text with "{event}", "{subtype}" and "{KEYPATH}", any value of the object, replaced; by nothing where there is none.
 * "{{" stands for "{". What is replaced is not looked at again.
 */
QString VXEventText(const QString &text, const VXEvent &event);
