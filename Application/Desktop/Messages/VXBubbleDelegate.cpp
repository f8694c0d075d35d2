#include "VXBubbleDelegate.h"

#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXStoreListModel.h"
#include "VXThemeManager.h"

#include <QtCore/QLocale>
#include <QtGui/QMouseEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QAbstractItemView>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int sideMargin = 20;
constexpr int padding = 12;
constexpr int radius = 16;
constexpr int widestBubble = 520;
constexpr qint64 secondsOfRun = 300; // between messages that share a time
constexpr std::chrono::seconds markedTime{3};

QFont smaller(QFont font)
{
    font.setPointSizeF(font.pointSizeF() * 0.86);
    return font;
}

QString timeOf(const QDateTime &date)
{
    return QLocale().toString(date.toLocalTime().time(), QLocale::ShortFormat);
}

} // namespace

/** The positions of a row's parts. */
struct VXBubbleDelegate::Shape
{
    VXShownMessage shown;
    QString day;  // above it; empty for none
    QString note; // below it
    QRect dayRect;
    QRect bubble;
    QRect text;
    QRect noteRect;
    int wrapping = Qt::TextWordWrap;
    bool isMine;
    int height;
};

VXBubbleDelegate::VXBubbleDelegate(QAbstractItemView *view) : QStyledItemDelegate(view)
{
    _unmark.setSingleShot(true);
    _unmark.setInterval(markedTime);
    connect(&_unmark, &QTimer::timeout, view, [this, view] {
        _marked = QPersistentModelIndex();
        view->viewport()->update();
    });
}

void VXBubbleDelegate::mark(const QModelIndex &index)
{
    _marked = index;
    _unmark.start();
}

VXBubbleDelegate::Shape VXBubbleDelegate::shapeOf(const QStyleOptionViewItem &option, const QModelIndex &index)
{
    Shape shape;
    shape.shown = index.data(VXStoreListModel::ValueRole).value<VXShownMessage>();
    const QModelIndex before = index.siblingAtRow(index.row() - 1);
    const VXMessageRecord &message = shape.shown.message;
    const auto previous =
        before.isValid() ? before.data(VXStoreListModel::ValueRole).value<VXShownMessage>() : VXShownMessage();
    const QDate day = message.date.toLocalTime().date();
    shape.isMine = !message.isIncoming();
    if (day.isValid() && (!before.isValid() || previous.message.date.toLocalTime().date() != day))
        shape.day = VXTextOfDate(message.date, VXDateStyle::Day);
    const bool isRun = before.isValid() && shape.day.isEmpty() && previous.message.isIncoming() == message.isIncoming();

    int top = option.rect.top() + (isRun ? 2 : 8);
    const int small = QFontMetrics(smaller(option.font)).height();
    if (!shape.day.isEmpty()) {
        shape.dayRect = QRect(option.rect.left(), top + 8, option.rect.width(), small + 4);
        top = shape.dayRect.bottom() + 12;
    }
    const int room = std::max(80, std::min(widestBubble, (option.rect.width() - 2 * sideMargin) * 4 / 5));
    const QRect most(0, 0, room - 2 * padding, 1 << 20);
    const QFontMetrics metrics(option.font);
    QRect text = metrics.boundingRect(most, shape.wrapping, message.text);
    if (text.width() > most.width()) { // a word that is too long, for example a page's address
        shape.wrapping = Qt::TextWrapAnywhere;
        text = metrics.boundingRect(most, shape.wrapping, message.text);
    }
    const int width = std::max(text.width() + 2 * padding + 1, 2 * radius);
    const bool isLeft = shape.isMine == (option.direction == Qt::RightToLeft);
    const int left = isLeft ? option.rect.left() + sideMargin : option.rect.right() - sideMargin - width + 1;
    shape.bubble = QRect(left, top, width, text.height() + padding + 4);
    shape.text = shape.bubble.adjusted(padding, padding / 2 + 1, -padding, 0);
    const QModelIndex after = index.siblingAtRow(index.row() + 1);
    const auto next =
        after.isValid() ? after.data(VXStoreListModel::ValueRole).value<VXShownMessage>() : VXShownMessage();
    const bool isLastOfRun = !after.isValid() || next.message.isIncoming() != message.isIncoming() ||
                             message.date.secsTo(next.message.date) > secondsOfRun;
    if (!shape.shown.outboxState.isEmpty())
        shape.note = shape.shown.isFailed ? u"%1 — %2"_s.arg(shape.shown.outboxState, VXText("Try again…"))
                                          : shape.shown.outboxState;
    else if (isLastOfRun && message.date.isValid())
        shape.note = timeOf(message.date);
    int bottom = shape.bubble.bottom();
    if (!shape.note.isEmpty()) {
        shape.noteRect =
            QRect(option.rect.left() + sideMargin, bottom + 3, option.rect.width() - 2 * sideMargin, small);
        bottom = shape.noteRect.bottom();
    }
    shape.height = bottom + 2 - option.rect.top() + (after.isValid() ? 0 : 10);
    return shape;
}

void VXBubbleDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    const Shape shape = shapeOf(option, index);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setFont(smaller(option.font));
    painter->setPen(colors.quietText);
    if (!shape.day.isEmpty())
        painter->drawText(shape.dayRect, Qt::AlignCenter, shape.day);
    const bool isLeft = shape.isMine == (option.direction == Qt::RightToLeft);
    if (!shape.note.isEmpty()) {
        if (shape.shown.isFailed)
            painter->setPen(colors.bad);
        painter->drawText(shape.noteRect.adjusted(4, 0, -4, 0),
                          int((isLeft ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter), shape.note);
    }
    const bool isPending = !shape.shown.outboxState.isEmpty();
    QColor fill = shape.isMine ? colors.accent : colors.raised;
    if (isPending)
        fill = colors.selection;
    painter->setBrush(fill);
    painter->setPen(shape.isMine && !isPending ? Qt::NoPen : QPen(colors.line));
    painter->drawRoundedRect(QRectF(shape.bubble).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    const bool hasFocus =
        option.state.testFlag(QStyle::State_Selected) && option.state.testFlag(QStyle::State_HasFocus);
    if (hasFocus || _marked == index) {
        const int gap = hasFocus ? 2 : 3; // seen around one's own bubbles too, which have the colour
        painter->setPen(QPen(colors.isDark ? colors.text : colors.accent, 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(shape.bubble).adjusted(-gap, -gap, gap, gap), radius + gap, radius + gap);
    }
    painter->setFont(option.font);
    painter->setPen(shape.isMine && !isPending ? colors.onAccent : colors.text);
    const bool isRightToLeft = shape.shown.message.text.isRightToLeft();
    painter->setLayoutDirection(isRightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    painter->drawText(shape.text,
                      int((isRightToLeft ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute) | shape.wrapping,
                      shape.shown.message.text);
    painter->restore();
}

QSize VXBubbleDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem own = option;
    if (const auto *const view = qobject_cast<const QAbstractItemView *>(option.widget))
        own.rect = QRect(0, 0, view->viewport()->width(), 0);
    return {own.rect.width(), shapeOf(own, index).height};
}

bool VXBubbleDelegate::editorEvent(QEvent *event, QAbstractItemModel *, const QStyleOptionViewItem &option,
                                   const QModelIndex &index)
{
    if (event->type() != QEvent::MouseButtonRelease)
        return false;
    const Shape shape = shapeOf(option, index);
    const QPoint at = static_cast<QMouseEvent *>(event)->position().toPoint();
    if (!shape.shown.isFailed || !(shape.noteRect.contains(at) || shape.bubble.contains(at)))
        return false;
    Q_EMIT stateClicked(index);
    return true;
}
