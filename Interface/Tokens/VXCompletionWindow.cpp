#include "VXCompletionWindow.h"

#include "VXCompletionDelegate.h"
#include "VXInterface.h"
#include "VXSurfacePainting.h"

#include <QtCore/QStringListModel>
#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListView>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int shadow = 10;
constexpr int mostShown = 8;
constexpr int narrowest = 320;

} // namespace

VXCompletionWindow::VXCompletionWindow(QWidget &field)
    : QFrame(&field, Qt::ToolTip | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint), _field(field),
      _model(new QStringListModel(this)), _list(new QListView)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    _list->setModel(_model);
    _list->setItemDelegate(new VXCompletionDelegate(_list));
    _list->setUniformItemSizes(true);
    _list->setMouseTracking(true);
    _list->setFocusPolicy(Qt::NoFocus);
    _list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    _list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _list->setAccessibleName(VXInterfaceString(u"Suggestions"_s));
    _list->setStyleSheet(u"background: transparent"_s);
    auto *const all = new QVBoxLayout(this);
    all->setContentsMargins(shadow + 5, shadow + 5, shadow + 5, shadow + 5);
    all->addWidget(_list);
    connect(_list, &QListView::clicked, this,
            [this](const QModelIndex &index) { Q_EMIT rowWanted(index.data().toString()); });
}

VXCompletionWindow::~VXCompletionWindow() = default;

QStringList VXCompletionWindow::rows() const
{
    return isVisible() ? _model->stringList() : QStringList();
}

void VXCompletionWindow::showRows(const QStringList &rows, const QRect &below)
{
    if (rows.isEmpty())
        return hide();
    if (rows != _model->stringList() || !isVisible()) {
        _model->setStringList(rows);
        _list->setCurrentIndex({});
        _list->clearSelection();
        _list->scrollToTop();
    }
    const int shown = std::min<int>(mostShown, static_cast<int>(rows.size()));
    const int height = shown * _list->sizeHintForRow(0) + 2 * (shadow + 5);
    const int width = std::max(narrowest, _list->sizeHintForColumn(0) + 24) + 2 * (shadow + 5);
    const QRect screen = _field.screen()->availableGeometry().adjusted(-shadow, -shadow, shadow, shadow);
    const QSize size(std::min(width, screen.width()), height);
    const QRect field(_field.mapToGlobal(below.topLeft()), below.size());
    const int x = layoutDirection() == Qt::RightToLeft ? field.right() - size.width() + shadow : field.left() - shadow;
    const bool fitsBelow = field.bottom() + height - 2 * shadow <= screen.bottom();
    const int y = fitsBelow ? field.bottom() + 4 - shadow : field.top() - 4 - height + shadow;
    setGeometry(
        QRect(QPoint(std::clamp(x, screen.left(), std::max(screen.left(), screen.right() - size.width())), y), size));
    show();
}

std::optional<QString> VXCompletionWindow::chosenRow() const
{
    const QModelIndex index = _list->currentIndex();
    return isVisible() && index.isValid() ? std::optional(index.data().toString()) : std::nullopt;
}

void VXCompletionWindow::choose(int row)
{
    const QModelIndex index = _model->index(row);
    _list->setCurrentIndex(index);
    QAccessibleEvent focus(_list, QAccessible::Focus);
    focus.setChild(row);
    QAccessible::updateAccessibility(&focus);
}

bool VXCompletionWindow::takeKey(int key)
{
    if (!isVisible())
        return false;
    const int last = _model->rowCount() - 1;
    const int current = _list->currentIndex().isValid() ? _list->currentIndex().row() : -1;
    switch (key) {
    case Qt::Key_Down:
        choose(current == last ? 0 : current + 1);
        return true;
    case Qt::Key_Up:
        choose(current <= 0 ? last : current - 1);
        return true;
    case Qt::Key_PageDown:
        choose(std::min(last, current + mostShown));
        return true;
    case Qt::Key_PageUp:
        choose(std::max(0, current - mostShown));
        return true;
    default:
        return false;
    }
}

void VXCompletionWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    VXPaintFloatingSurface(painter, rect(), shadow, 10);
}
