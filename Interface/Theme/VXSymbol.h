#pragma once

#include "VXInterfaceExport.h"

#include <QtGui/QIcon>

/**
 * The symbols of the kit: drawings of one colour (SVG in the resources "Icons"), painted in a colour of the present theme at any
 * size and scale. They follow a change of the theme by themselves. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSymbol
{
public:
    /** Which colour: that of texts, quiet texts, texts on the accent, the accent, or one that tells of a state. */
    enum class Tone { Text, Quiet, OnAccent, Accent, Good, Warning, Bad };

    /** A null icon, logged once, when there is no drawing of that name. */
    static QIcon named(const QString &name, Tone tone = Tone::Text);
    /** The names there are, sorted. */
    static QStringList names();

    VXSymbol() = delete;
};
