#include "VXSheet.h"

#include "VXSurfacePainting.h"
#include "VXThemeManager.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>

#include <utility>

namespace {

constexpr int shadow = 22;
constexpr int padding = 24;
constexpr int radius = 12;
constexpr int fromTop = 44;

QWidgetList focusChain(const QWidget &content)
{
    QWidgetList chain;
    for (QWidget *widget : content.findChildren<QWidget *>()) {
        if (widget->isVisible() && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0)
            chain.append(widget);
    }
    return chain;
}

} // namespace

VXSheet::VXSheet(QWidget *content) : _content(content)
{
    content->setParent(this);
    setAttribute(Qt::WA_NoMousePropagation);
    setAccessibleName(content->accessibleName());
}

VXSheet::~VXSheet()
{
    if (std::exchange(_isRunning, false))
        Q_EMIT didEnd(Cancelled);
}

void VXSheet::beginOnWindow(QWidget &widget)
{
    QWidget *const window = widget.window();
    _focusBefore = QApplication::focusWidget();
    setParent(window);
    window->installEventFilter(this);
    _isRunning = true;
    place();
    show();
    raise();
    const QWidgetList chain = focusChain(*_content);
    (chain.isEmpty() ? this : chain.first())->setFocus(Qt::PopupFocusReason);
}

void VXSheet::end(int returnCode)
{
    if (!std::exchange(_isRunning, false))
        return;
    hide();
    if (_focusBefore)
        _focusBefore->setFocus(Qt::PopupFocusReason);
    deleteLater();
    Q_EMIT didEnd(returnCode);
}

void VXSheet::place()
{
    setGeometry(parentWidget()->rect());
    const QSize size = _content->sizeHint()
                           .expandedTo(_content->minimumSizeHint())
                           .expandedTo(_content->minimumSize())
                           .boundedTo(this->size() - 2 * QSize(padding + shadow / 2, padding));
    const int y = std::min(fromTop + padding, std::max(padding, (height() - size.height()) / 2));
    _content->setGeometry((width() - size.width()) / 2, y, size.width(), size.height());
}

void VXSheet::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const bool isDark = VXThemeManager::sharedThemeManager().isDark();
    painter.fillRect(rect(), QColor(0, 0, 0, isDark ? 120 : 70));
    const int room = padding + shadow;
    VXPaintFloatingSurface(painter, _content->geometry().adjusted(-room, -room, room, room), shadow, radius);
}

void VXSheet::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        end(Cancelled);
    else
        event->accept(); // keeps it from the window below
}

// Keeps the focus in the sheet.
bool VXSheet::focusNextPrevChild(bool next)
{
    const QWidgetList chain = focusChain(*_content);
    if (chain.isEmpty())
        return true;
    const qsizetype index = chain.indexOf(QApplication::focusWidget());
    const qsizetype step = next ? 1 : -1;
    const qsizetype wanted = index < 0 ? 0 : (index + step + chain.size()) % chain.size();
    chain.at(wanted)->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

bool VXSheet::eventFilter(QObject *object, QEvent *event)
{
    if (object == parentWidget() && _isRunning) {
        if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest)
            place();
        else if (event->type() == QEvent::Close)
            end(Cancelled);
    }
    return QWidget::eventFilter(object, event);
}
