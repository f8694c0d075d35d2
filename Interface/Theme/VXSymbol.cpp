#include "VXSymbol.h"

#include "VXInterface.h"
#include "VXLog.h"
#include "VXThemeManager.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtGui/QIconEngine>
#include <QtGui/QPainter>
#include <QtGui/QPixmapCache>
#include <QtSvg/QSvgRenderer>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString folder = u"Icons"_s;

QColor colorOf(VXSymbol::Tone tone, QIcon::Mode mode)
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    if (mode == QIcon::Disabled)
        return colors.palette().color(QPalette::Disabled, QPalette::Text);
    switch (tone) {
    case VXSymbol::Tone::Text:
        return colors.text;
    case VXSymbol::Tone::Quiet:
        return colors.quietText;
    case VXSymbol::Tone::OnAccent:
        return colors.onAccent;
    case VXSymbol::Tone::Accent:
        return colors.accent;
    case VXSymbol::Tone::Good:
        return colors.good;
    case VXSymbol::Tone::Warning:
        return colors.warning;
    case VXSymbol::Tone::Bad:
        return colors.bad;
    }
    return colors.text;
}

/** Uses the present colour, so that a change of the theme takes effect at the next painting. */
class ToneIconEngine : public QIconEngine
{
public:
    ToneIconEngine(QString name, QByteArray drawing, VXSymbol::Tone tone)
        : _name(std::move(name)), _drawing(std::move(drawing)), _tone(tone)
    {
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        painter->drawPixmap(rect, drawn(rect.size() * painter->device()->devicePixelRatio(), mode));
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override { return drawn(size, mode); }

    QPixmap scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State, qreal) override
    {
        return drawn(size, mode);
    }

    QIconEngine *clone() const override { return new ToneIconEngine(*this); }
    bool isNull() override { return false; }

private:
    // Cached, since lists paint the same few symbols for every row.
    QPixmap drawn(const QSize &pixels, QIcon::Mode mode) const
    {
        const QString color = colorOf(_tone, mode).name();
        const QString key = u"vornix %1 %2 %3 %4"_s.arg(_name, color).arg(pixels.width()).arg(pixels.height());
        QPixmap pixmap;
        if (QPixmapCache::find(key, &pixmap))
            return pixmap;
        pixmap = QPixmap(pixels);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        QByteArray colored = _drawing;
        QSvgRenderer(colored.replace("currentColor", color.toLatin1())).render(&painter);
        painter.end();
        QPixmapCache::insert(key, pixmap);
        return pixmap;
    }

    const QString _name;
    const QByteArray _drawing;
    const VXSymbol::Tone _tone;
};

} // namespace

QIcon VXSymbol::named(const QString &name, Tone tone)
{
    static QHash<QString, QByteArray> drawings;
    auto drawing = drawings.constFind(name);
    if (drawing == drawings.cend()) {
        QFile file(VXInterfaceBundle()->pathForResource(name, u"svg"_s, folder));
        if (!file.open(QIODevice::ReadOnly))
            VXLog::log(VXLogError, u"There is no icon \"%1\""_s.arg(name));
        drawing = drawings.insert(name, file.isOpen() ? file.readAll() : QByteArray());
    }
    return drawing->isEmpty() ? QIcon() : QIcon(new ToneIconEngine(name, *drawing, tone));
}

QStringList VXSymbol::names()
{
    QStringList names;
    for (const QString &path : VXInterfaceBundle()->pathsForResourcesOfType(u"svg"_s, folder))
        names.append(QFileInfo(path).completeBaseName());
    return names;
}
