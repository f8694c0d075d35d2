#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QRect>

class QPainter;

/** A surface that floats above others, in the theme's colours: rounded, with a line around it and a shadow `shadow` wide, which
 *  lies inside `rect`. */
VX_INTERFACE_EXPORT void VXPaintFloatingSurface(QPainter &painter, const QRect &rect, int shadow, int radius);
