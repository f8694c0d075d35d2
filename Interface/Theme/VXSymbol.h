#pragma once

#include "VXInterfaceExport.h"

#include <QtGui/QIcon>

/**
 * The symbols of the kit: drawings in one colour (SVG in the resources "Icons"), painted in a colour of the present
 * theme at any size and scale. They follow changes of the theme. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSymbol
{
public:
    /** The colour: that of texts, quiet texts, texts on the accent, the accent, or a state. */
    enum class Tone { Text, Quiet, OnAccent, Accent, Good, Warning, Bad };

    /** A null icon, logged once, if there is no drawing of that name. */
    static QIcon named(const QString &name, Tone tone = Tone::Text);
    /** All names, sorted. */
    static QStringList names();

    VXSymbol() = delete;
};
