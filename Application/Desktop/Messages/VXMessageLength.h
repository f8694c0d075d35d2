#pragma once

#include <QtCore/QString>

/** How a text goes over the air: in how many parts, and how many more characters the last of them takes. A value type. */
struct VXMessageLength
{
    bool isPlain = true; // all characters are of the alphabet of 7 bits (GSM 03.38); else two octets each (UCS-2)
    int parts = 0;       // 0 of an empty text
    int left = 160;      // in the units of the alphabet

    static VXMessageLength of(const QString &text);
};
