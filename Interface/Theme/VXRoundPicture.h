#pragma once

#include "VXInterfaceExport.h"

#include <QtGui/QImage>
#include <QtGui/QPixmap>

/**
 * The picture of a person as a disc of `size` pixels at a scale of `ratio`, for lists and notices; without a picture the
 * initials of the name, without a name a symbol. Main thread only.
 */
VX_INTERFACE_EXPORT QPixmap VXRoundPicture(const QImage &picture, const QString &name, int size, qreal ratio);
