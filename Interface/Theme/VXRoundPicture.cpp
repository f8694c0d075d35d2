#include "VXRoundPicture.h"

#include "VXThemeManager.h"

#include <QtGui/QFontInfo>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

using namespace Qt::StringLiterals;

namespace {

// The first letters of the first and last word; none for a number.
QString initialsOf(const QString &name)
{
    const QStringList words = name.split(u' ', Qt::SkipEmptyParts);
    QString initials;
    for (const QString &word : {words.value(0), words.size() > 1 ? words.last() : QString()}) {
        for (const QChar letter : word) {
            if (letter.isLetter()) {
                initials += letter.toUpper();
                break;
            }
        }
    }
    return initials;
}

QColor colorOf(const QString &name, bool isDark)
{
    static constexpr int hues[] = {210, 262, 330, 12, 32, 150, 176, 240};
    uint sum = 0;
    for (const QChar letter : name)
        sum = sum * 31 + letter.unicode();
    const int hue = hues[sum % std::size(hues)];
    return isDark ? QColor::fromHsl(hue, 90, 95) : QColor::fromHsl(hue, 105, 120);
}

void paintSilhouette(QPainter &painter, const QRectF &area)
{
    QPainterPath path;
    const qreal unit = area.width() / 10;
    path.addEllipse(area.center() - QPointF(0, unit * 1.1), unit * 1.7, unit * 1.7);
    path.addEllipse(area.center() + QPointF(0, unit * 3.6), unit * 3.0, unit * 2.5);
    painter.drawPath(path.simplified());
}

// The painter makes the letters larger: each further size of a font costs the search of all fonts.
void paintInitials(QPainter &painter, const QRectF &area, const QString &initials)
{
    QFont font = QGuiApplication::font();
    font.setWeight(QFont::DemiBold);
    const qreal wanted = area.height() * (initials.size() > 1 ? 0.38 : 0.46);
    const qreal scale = wanted / QFontInfo(font).pixelSize();
    const QSizeF size = area.size() / scale;
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.translate(area.center());
    painter.scale(scale, scale);
    painter.drawText(QRectF({-size.width() / 2, -size.height() / 2}, size), Qt::AlignCenter, initials);
}

} // namespace

void VXPaintRoundPicture(QPainter &painter, const QRectF &area, const QString &name, const QImage &picture)
{
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    QPainterPath circle;
    circle.addEllipse(area);
    painter.setClipPath(circle);
    if (!picture.isNull()) {
        const QSizeF filled = QSizeF(picture.size()).scaled(area.size(), Qt::KeepAspectRatioByExpanding);
        QRectF place({}, filled);
        place.moveCenter(area.center());
        painter.drawImage(place, picture);
        painter.restore();
        return;
    }
    painter.fillPath(circle, colorOf(name, VXThemeManager::sharedThemeManager().isDark()));
    const QString initials = initialsOf(name);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    if (initials.isEmpty()) {
        paintSilhouette(painter, area);
    } else {
        paintInitials(painter, area, initials);
    }
    painter.restore();
}

QPixmap VXRoundPicture(const QImage &picture, const QString &name, int size, qreal ratio)
{
    QPixmap result(QSize(size, size) * ratio);
    result.setDevicePixelRatio(ratio);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    VXPaintRoundPicture(painter, QRectF(0, 0, size, size), name, picture);
    return result;
}
