#pragma once

#include <QtCore/QString>

/** How a text is transmitted: in how many parts, and how many more characters fit into the last one. A value type. */
struct VXMessageLength
{
    bool isPlain = true; // all characters are in the 7-bit alphabet (GSM 03.38); otherwise each takes two bytes (UCS-2)
    int parts = 0;       // 0 for an empty text
    int left = 160;      // in the units of the alphabet

    static VXMessageLength of(const QString &text);
};
