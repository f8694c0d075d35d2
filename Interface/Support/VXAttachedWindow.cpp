#include "VXAttachedWindow.h"

#include "VXSurfacePainting.h"
#include "VXThemeManager.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>

namespace {

constexpr int shadow = 12; // width of the margin for it
constexpr int gap = 2;
constexpr int radius = 10;

using Side = VXAttachedWindow::Side;

QPoint placeAt(Side side, const QRect &anchor, const QSize &size, bool isRightToLeft)
{
    const int leadingX = isRightToLeft ? anchor.right() - size.width() + shadow : anchor.left() - shadow;
    const int below = anchor.bottom() + gap - shadow;
    const int above = anchor.top() - gap - size.height() + shadow;
    const bool isLeft = (side == Side::Leading) != isRightToLeft;
    switch (side) {
    case Side::Above:
        return {leadingX, above};
    case Side::Below:
        return {leadingX, below};
    case Side::Leading:
    case Side::Trailing:
        break;
    }
    return {isLeft ? anchor.left() - size.width() + shadow - gap : anchor.right() - shadow + gap,
            anchor.top() - shadow};
}

Side opposite(Side side)
{
    switch (side) {
    case Side::Above:
        return Side::Below;
    case Side::Below:
        return Side::Above;
    case Side::Leading:
        return Side::Trailing;
    case Side::Trailing:
        break;
    }
    return Side::Leading;
}

} // namespace

VXAttachedWindow::VXAttachedWindow(QWidget *content, QWidget &anchor)
    : QFrame(anchor.window(), Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint), _anchor(&anchor),
      _focusBefore(QApplication::focusWidget())
{
    setAttribute(Qt::WA_TranslucentBackground);
    auto *const all = new QVBoxLayout(this);
    all->setContentsMargins(shadow + 14, shadow + 12, shadow + 14, shadow + 12);
    all->setSizeConstraint(QLayout::SetFixedSize); // follows the size of the content
    all->addWidget(content);
    anchor.window()->installEventFilter(this);
    connect(&anchor, &QObject::destroyed, this, &QWidget::close);
}

VXAttachedWindow::~VXAttachedWindow() = default;

void VXAttachedWindow::attach(Side side)
{
    _side = side;
    adjustSize();
    place();
    show();
    setFocus(Qt::PopupFocusReason);
    focusNextChild();
}

void VXAttachedWindow::place()
{
    if (!_anchor)
        return;
    const QRect anchor(_anchor->mapToGlobal(QPoint()), _anchor->size());
    const QRect screen = _anchor->screen()->availableGeometry();
    const auto fits = [&](const QPoint &corner) {
        return screen.contains(QRect(corner, size()).adjusted(shadow, shadow, -shadow, -shadow));
    };
    const bool isRightToLeft = layoutDirection() == Qt::RightToLeft;
    QPoint corner = placeAt(_side, anchor, size(), isRightToLeft);
    if (const QPoint other = placeAt(opposite(_side), anchor, size(), isRightToLeft); !fits(corner) && fits(other))
        corner = other;
    const QRect room = screen.adjusted(-shadow, -shadow, shadow, shadow);
    corner.setX(std::clamp(corner.x(), room.left(), std::max(room.left(), room.right() - width())));
    corner.setY(std::clamp(corner.y(), room.top(), std::max(room.top(), room.bottom() - height())));
    move(corner);
}

void VXAttachedWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    VXPaintFloatingSurface(painter, rect(), shadow, radius);
}

void VXAttachedWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QFrame::keyPressEvent(event);
}

void VXAttachedWindow::closeEvent(QCloseEvent *event)
{
    QFrame::closeEvent(event);
    if (_focusBefore)
        _focusBefore->setFocus(Qt::PopupFocusReason);
}

void VXAttachedWindow::resizeEvent(QResizeEvent *event)
{
    QFrame::resizeEvent(event);
    if (isVisible())
        place();
}

bool VXAttachedWindow::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Move || event->type() == QEvent::Resize)
        place();
    else if (event->type() == QEvent::Hide)
        close();
    return QFrame::eventFilter(object, event);
}
