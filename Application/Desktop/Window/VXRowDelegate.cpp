#include "VXRowDelegate.h"

#include "VXRoundPicture.h"
#include "VXStoreListModel.h"
#include "VXSymbol.h"
#include "VXThemeManager.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

using namespace Qt::StringLiterals;

namespace {

constexpr int margin = 12;
constexpr int pictureSize = 40;

const VXThemeColors &colors()
{
    return VXThemeManager::sharedThemeManager().colors();
}

QColor colorOf(VXRowContents::Tone tone)
{
    switch (tone) {
    case VXRowContents::Tone::Accent:
        return colors().accent;
    case VXRowContents::Tone::Good:
        return colors().good;
    case VXRowContents::Tone::Warning:
        return colors().warning;
    case VXRowContents::Tone::Bad:
        return colors().bad;
    case VXRowContents::Tone::Plain:
        break;
    }
    return colors().quietText;
}

VXSymbol::Tone iconTone(VXRowContents::Tone tone)
{
    switch (tone) {
    case VXRowContents::Tone::Accent:
        return VXSymbol::Tone::Accent;
    case VXRowContents::Tone::Good:
        return VXSymbol::Tone::Good;
    case VXRowContents::Tone::Warning:
        return VXSymbol::Tone::Warning;
    case VXRowContents::Tone::Bad:
        return VXSymbol::Tone::Bad;
    case VXRowContents::Tone::Plain:
        break;
    }
    return VXSymbol::Tone::Quiet;
}

QFont smaller(QFont font)
{
    font.setPointSizeF(font.pointSizeF() * 0.92);
    return font;
}

// The rectangle's position in the layout direction of the widget, which may be right to left.
QRect placed(const QStyleOptionViewItem &option, const QRect &rect)
{
    return QStyle::visualRect(option.direction, option.rect, rect);
}

void drawText(QPainter &painter, const QStyleOptionViewItem &option, const QRect &rect, const QString &text,
              Qt::Alignment side = Qt::AlignLeading)
{
    const QString shown = painter.fontMetrics().elidedText(text.simplified(), Qt::ElideRight, rect.width());
    // In the direction of its script: a number keeps its "+" in front.
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.drawText(placed(option, rect),
                     int(QStyle::visualAlignment(option.direction, side) | Qt::AlignVCenter | Qt::AlignAbsolute),
                     shown);
}

void paintBackground(QPainter &painter, const QStyleOptionViewItem &option)
{
    const bool isSelected = option.state.testFlag(QStyle::State_Selected);
    const bool isHovered = option.state.testFlag(QStyle::State_MouseOver);
    if (isSelected || isHovered) {
        QPainterPath path;
        path.addRoundedRect(QRectF(option.rect).adjusted(4, 1, -4, -1), 8, 8);
        painter.fillPath(path, isSelected ? colors().selection : colors().hover);
    }
    if (isSelected && option.state.testFlag(QStyle::State_HasFocus)) {
        painter.setPen(QPen(colors().accent, 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(option.rect).adjusted(4.75, 1.75, -4.75, -1.75), 7.5, 7.5);
    }
}

// A count is painted in a pill, a word without one.
int paintMark(QPainter &painter, const QStyleOptionViewItem &option, const QRect &line, const VXRowContents &contents)
{
    if (contents.mark.isEmpty())
        return 0;
    QFont font = smaller(option.font);
    bool isCount = false;
    contents.mark.toInt(&isCount);
    font.setWeight(isCount ? QFont::DemiBold : QFont::Normal);
    painter.setFont(font);
    const int textWidth = painter.fontMetrics().horizontalAdvance(contents.mark);
    const int width = isCount ? std::max(20, textWidth + 12) : textWidth;
    const QRect rect = placed(option, QRect(line.right() - width + 1, line.top(), width, line.height()));
    if (isCount) {
        QPainterPath pill;
        pill.addRoundedRect(QRectF(rect.x(), rect.center().y() - 9, width, 19), 9.5, 9.5);
        painter.fillPath(pill, colorOf(contents.markTone));
        painter.setPen(contents.markTone == VXRowContents::Tone::Plain ? colors().base : colors().onAccent);
    } else {
        painter.setPen(colorOf(contents.markTone));
    }
    painter.drawText(rect, Qt::AlignCenter, contents.mark);
    return width + 8;
}

} // namespace

void VXRowDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem own = option;
    initStyleOption(&own, index);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    paintBackground(*painter, own);
    const QVariant value = index.data(VXStoreListModel::ValueRole);
    if (value.isValid())
        paintContents(*painter, own, value.value<VXRowContents>());
    else
        paintOutline(*painter, own);
    painter->restore();
}

void VXRowDelegate::paintContents(QPainter &painter, const QStyleOptionViewItem &option, const VXRowContents &contents)
{
    const QRect row = option.rect.adjusted(margin, 0, -margin, 0);
    int left = row.left();
    const QRect picture(left, row.center().y() - pictureSize / 2, pictureSize, pictureSize);
    if (!contents.icon.isNull()) {
        QColor behind = colorOf(contents.iconTone);
        behind.setAlphaF(0.14F);
        painter.setPen(Qt::NoPen);
        painter.setBrush(behind);
        painter.drawEllipse(placed(option, picture));
        VXSymbol::named(contents.icon, iconTone(contents.iconTone))
            .paint(&painter, placed(option, picture.adjusted(10, 10, -10, -10)));
        left += pictureSize + margin;
    } else if (!contents.person.isNull()) {
        VXPaintRoundPicture(painter, placed(option, picture), contents.person, contents.picture);
        left += pictureSize + margin;
    }

    const bool hasDetail = !contents.detail.isEmpty() || !contents.mark.isEmpty();
    const int lineHeight = QFontMetrics(option.font).height() + 2;
    const int top = row.center().y() - (hasDetail ? lineHeight + 1 : lineHeight / 2);
    QRect line(left, top, row.right() - left + 1, lineHeight);

    painter.setFont(smaller(option.font));
    painter.setPen(contents.isStrong ? colors().accent : colors().quietText);
    const int whenWidth = contents.when.isEmpty() ? 0 : painter.fontMetrics().horizontalAdvance(contents.when) + 8;
    drawText(painter, option, line, contents.when, Qt::AlignTrailing);

    QFont font = option.font;
    font.setWeight(contents.isStrong ? QFont::Bold : QFont::Medium);
    painter.setFont(font);
    painter.setPen(contents.isQuiet ? colors().quietText : colors().text);
    drawText(painter, option, line.adjusted(0, 0, -whenWidth, 0), contents.title);

    line.translate(0, lineHeight + 2);
    const int markWidth = paintMark(painter, option, line, contents);
    painter.setFont(option.font);
    painter.setPen(colors().quietText);
    drawText(painter, option, line.adjusted(0, 0, -markWidth, 0), contents.detail);
}

void VXRowDelegate::paintOutline(QPainter &painter, const QStyleOptionViewItem &option)
{
    const QRect row = option.rect.adjusted(margin, 0, -margin, 0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colors().hover);
    painter.drawEllipse(placed(option, QRect(row.left(), row.center().y() - 20, 40, 40)));
    painter.drawRoundedRect(placed(option, QRect(row.left() + 52, row.center().y() - 14, row.width() / 3, 10)), 5, 5);
    painter.drawRoundedRect(placed(option, QRect(row.left() + 52, row.center().y() + 6, row.width() / 2, 10)), 5, 5);
}

QSize VXRowDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    return {200, std::max(60, 2 * QFontMetrics(option.font).height() + 24)};
}
