#include "VXSidebar.h"

#include "VXDesktopText.h"
#include "VXSymbol.h"
#include "VXThemeManager.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtWidgets/QStyledItemDelegate>

using namespace Qt::StringLiterals;

namespace {

enum Role { IconRole = Qt::UserRole, BadgeRole };

constexpr int barWidth = 190;

} // namespace

class VXSidebar::Delegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const override
    {
        return {barWidth, QFontMetrics(option.font).height() + 22};
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
        const bool isSelected = option.state.testFlag(QStyle::State_Selected);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        QPainterPath shape;
        shape.addRoundedRect(QRectF(option.rect).adjusted(8, 2, -8, -2), 8, 8);
        if (isSelected)
            painter->fillPath(shape, colors.selection);
        else if (option.state.testFlag(QStyle::State_MouseOver))
            painter->fillPath(shape, colors.hover);
        if (option.state.testFlag(QStyle::State_HasFocus) && isSelected) {
            painter->setPen(QPen(colors.accent, 1.5));
            painter->drawPath(shape);
        }
        const QRect row = option.rect.adjusted(20, 0, -18, 0);
        const auto placed = [&](const QRect &rect) { return QStyle::visualRect(option.direction, option.rect, rect); };
        VXSymbol::named(index.data(IconRole).toString(), isSelected ? VXSymbol::Tone::Accent : VXSymbol::Tone::Quiet)
            .paint(painter, placed(QRect(row.left(), row.center().y() - 9, 20, 20)));
        QFont font = option.font;
        font.setWeight(isSelected ? QFont::DemiBold : QFont::Normal);
        painter->setFont(font);
        painter->setPen(colors.text);
        painter->drawText(placed(row.adjusted(32, 0, 0, 0)),
                          int(QStyle::visualAlignment(option.direction, Qt::AlignLeading | Qt::AlignVCenter)),
                          index.data().toString());
        if (const int badge = index.data(BadgeRole).toInt(); badge > 0) {
            const QString text = badge > 999 ? u"999+"_s : QString::number(badge);
            font.setPointSizeF(font.pointSizeF() * 0.88);
            font.setWeight(QFont::DemiBold);
            painter->setFont(font);
            const int width = std::max(22, painter->fontMetrics().horizontalAdvance(text) + 12);
            const QRect pill = placed(QRect(row.right() - width + 1, row.center().y() - 9, width, 20));
            painter->setPen(Qt::NoPen);
            painter->setBrush(colors.accent);
            painter->drawRoundedRect(pill, 10, 10);
            painter->setPen(colors.onAccent);
            painter->drawText(pill, Qt::AlignCenter, text);
        }
        painter->restore();
    }
};

VXSidebar::VXSidebar(QWidget *parent) : QListWidget(parent)
{
    setAccessibleName(VXText("Sections"));
    setItemDelegate(new Delegate(this));
    setMouseTracking(true);
    setFrameShape(QFrame::NoFrame);
    setFixedWidth(barWidth);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setProperty("vxSurface", u"sidebar"_s);
}

QListWidgetItem *VXSidebar::addPage(const QString &title, const QString &icon)
{
    auto *const item = new QListWidgetItem(title, this);
    item->setData(IconRole, icon);
    return item;
}

void VXSidebar::setBadge(int row, int badge)
{
    QListWidgetItem *const page = item(row);
    page->setData(BadgeRole, badge);
    page->setData(Qt::AccessibleTextRole, badge == 0 ? page->text() : u"%1, %2"_s.arg(page->text()).arg(badge));
}
