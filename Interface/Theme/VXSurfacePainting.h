#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QRect>

class QPainter;

/**
 * Paints a surface that floats above others, in the theme's colours: rounded, with a border, and a shadow of width
 * `shadow` inside `rect`.
 */
VX_INTERFACE_EXPORT void VXPaintFloatingSurface(QPainter &painter, const QRect &rect, int shadow, int radius);
