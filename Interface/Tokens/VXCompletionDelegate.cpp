#include "VXCompletionDelegate.h"

#include "VXAddressText.h"
#include "VXSymbol.h"
#include "VXThemeManager.h"

#include <QtGui/QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int padding = 8;
constexpr int gap = 10;

} // namespace

VXCompletionDelegate::VXCompletionDelegate(QObject *parent) : QStyledItemDelegate(parent) {}

QSize VXCompletionDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const QString row = index.data().toString();
    const QFontMetrics &metrics = option.fontMetrics;
    const int icon = metrics.height();
    const int width = metrics.horizontalAdvance(VXAddressTitle(row)) + metrics.horizontalAdvance(VXAddressLine(row));
    return {width + icon + 2 * padding + 3 * gap, metrics.height() + 14};
}

void VXCompletionDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    const bool isChosen = option.state.testFlag(QStyle::State_Selected);
    const bool isHovered = option.state.testFlag(QStyle::State_MouseOver);
    const QString row = index.data().toString();
    const bool isGroup = row.contains(u'{');
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (isChosen || isHovered) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(isChosen ? colors.accent : colors.hover);
        painter->drawRoundedRect(option.rect.adjusted(0, 1, 0, -1), 6, 6);
    }
    const bool isRightToLeft = option.direction == Qt::RightToLeft;
    const int size = option.fontMetrics.height();
    QRect inside = option.rect.adjusted(padding, 0, -padding, 0);
    const QRect icon(isRightToLeft ? inside.right() - size : inside.left(), inside.center().y() - size / 2, size, size);
    const auto tone = isChosen ? VXSymbol::Tone::OnAccent : VXSymbol::Tone::Quiet;
    VXSymbol::named(isGroup ? u"people"_s : u"person"_s, tone).paint(painter, icon);
    if (isRightToLeft)
        inside.setRight(icon.left() - gap);
    else
        inside.setLeft(icon.right() + gap);
    const QString title = VXAddressTitle(row);
    const QString line = VXAddressLine(row);
    const int lineWidth = line == title ? 0 : option.fontMetrics.horizontalAdvance(line);
    QRect titleRect = inside;
    if (isRightToLeft)
        titleRect.setLeft(inside.left() + lineWidth + gap);
    else
        titleRect.setRight(inside.right() - lineWidth - gap);
    painter->setFont(option.font);
    painter->setPen(isChosen ? colors.onAccent : colors.text);
    painter->setLayoutDirection(option.direction); // applies the layout direction to alignments
    painter->drawText(titleRect, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(title, Qt::ElideRight, titleRect.width()));
    painter->setPen(isChosen ? colors.onAccent : colors.quietText);
    if (lineWidth > 0)
        painter->drawText(inside, Qt::AlignTrailing | Qt::AlignVCenter | Qt::TextSingleLine, line);
    painter->restore();
}
