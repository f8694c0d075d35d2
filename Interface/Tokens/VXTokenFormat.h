#pragma once

#include <QtGui/QTextFormat>

/** Properties in a token's character format that hold its parts. */
namespace VXTokenFormat {
enum Property : int { Payload = QTextFormat::UserProperty + 1, Label, Mood, Icon, ToolTip };
}
