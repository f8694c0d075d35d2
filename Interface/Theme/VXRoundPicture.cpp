#include "VXRoundPicture.h"

#include "VXSymbol.h"
#include "VXThemeManager.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

using namespace Qt::StringLiterals;

namespace {

QString initialsOf(const QString &name)
{
    QString initials;
    for (const QString &word : name.split(u' ', Qt::SkipEmptyParts)) {
        if (word.at(0).isLetter() && initials.size() < 2)
            initials += word.at(0).toUpper();
    }
    return initials;
}

} // namespace

QPixmap VXRoundPicture(const QImage &picture, const QString &name, int size, qreal ratio)
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    const int pixels = qRound(size * ratio);
    QPixmap result(pixels, pixels);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    QPainterPath disc;
    disc.addEllipse(0, 0, pixels, pixels);
    painter.setClipPath(disc);
    if (!picture.isNull()) {
        const QImage scaled = picture.scaled(pixels, pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
        painter.drawImage((pixels - scaled.width()) / 2, (pixels - scaled.height()) / 2, scaled);
    } else {
        painter.fillPath(disc, colors.selection);
        const QString initials = initialsOf(name);
        if (initials.isEmpty()) {
            const int icon = pixels * 6 / 10;
            VXSymbol::named(u"person"_s, VXSymbol::Tone::Accent)
                .paint(&painter, (pixels - icon) / 2, (pixels - icon) / 2, icon, icon);
        } else {
            QFont font = QGuiApplication::font();
            font.setPixelSize(pixels * 38 / 100);
            font.setWeight(QFont::DemiBold);
            painter.setFont(font);
            painter.setPen(colors.text);
            painter.drawText(result.rect(), Qt::AlignCenter, initials);
        }
    }
    painter.end();
    result.setDevicePixelRatio(ratio);
    return result;
}
