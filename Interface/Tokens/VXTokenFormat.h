#pragma once

#include <QtGui/QTextFormat>

/** Where a token's parts stand in the format of its character. */
namespace VXTokenFormat {
enum Property : int { Payload = QTextFormat::UserProperty + 1, Label, Mood, Icon, ToolTip };
}
