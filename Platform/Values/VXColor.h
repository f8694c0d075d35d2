#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QString>

/** A colour without dependence on windows: by name and as 0xRRGGBB (sRGB). A value type. */
struct VXColor
{
    QString name; // of the CSS colours (W3C CSS Color Module Level 4), which Qt GUI supports, too
    quint32 rgb = 0;

    bool operator==(const VXColor &) const = default;
};

Q_DECLARE_METATYPE(VXColor)
