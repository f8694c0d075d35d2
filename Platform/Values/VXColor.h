#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QString>

/** A colour as what has no windows can tell it: by name and as 0xRRGGBB (sRGB). A plain value. */
struct VXColor
{
    QString name; // of the CSS colours (W3C CSS Color Module Level 4), which Qt Gui knows too
    quint32 rgb = 0;

    bool operator==(const VXColor &) const = default;
};

Q_DECLARE_METATYPE(VXColor)
