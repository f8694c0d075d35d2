#include "VXSurfacePainting.h"

#include "VXThemeManager.h"

#include <QtGui/QPainter>

void VXPaintFloatingSurface(QPainter &painter, const QRect &rect, int shadow, int radius)
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QRectF inner = QRectF(rect).adjusted(shadow, shadow, -shadow, -shadow);
    for (int step = shadow; step > 0; --step) {
        QColor color = colors.shadow;
        const double strength = 1.0 - double(step) / (shadow + 1);
        color.setAlphaF(float(color.alphaF() * strength * strength * 0.12));
        painter.setBrush(color);
        const QRectF spread = inner.adjusted(-step, -step + 2, step, step + 2);
        painter.drawRoundedRect(spread, radius + step, radius + step);
    }
    painter.setPen(QPen(colors.isDark ? colors.border : colors.line, 1));
    painter.setBrush(colors.raised);
    painter.drawRoundedRect(inner.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}
