#pragma once

#include "VXInterfaceExport.h"

#include <QtGui/QImage>
#include <QtGui/QPixmap>

class QPainter;

/**
 * Paints the picture of a person as a disc; without one the initials of the name on a colour that the name stands for, without
 * a name a drawing. Main thread only.
 */
VX_INTERFACE_EXPORT void VXPaintRoundPicture(QPainter &painter, const QRectF &area, const QString &name,
                                             const QImage &picture);
/** The same as a pixmap of `size` at a scale of `ratio`. */
VX_INTERFACE_EXPORT QPixmap VXRoundPicture(const QImage &picture, const QString &name, int size, qreal ratio);
