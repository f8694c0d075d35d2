#pragma once

#include "VXInterfaceExport.h"

#include <QtGui/QImage>
#include <QtGui/QPixmap>

class QPainter;

/**
 * Paints a person's picture as a disc; without a picture the initials of the name, on a colour chosen by the name;
 * without a name a drawing. Main thread only.
 */
VX_INTERFACE_EXPORT void VXPaintRoundPicture(QPainter &painter, const QRectF &area, const QString &name,
                                             const QImage &picture);
/** The same as a pixmap of `size` at the scale `ratio`. */
VX_INTERFACE_EXPORT QPixmap VXRoundPicture(const QImage &picture, const QString &name, int size, qreal ratio);
