#include "VXSplitView.h"

#include "VXInterface.h"
#include "VXSavedState.h"
#include "VXThemeManager.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int keyStep = 16;
constexpr int standardPane = 220;

/** A divider that is easy to grab, and accepts keys. */
class DividerHandle : public QSplitterHandle
{
public:
    explicit DividerHandle(VXSplitView &view) : QSplitterHandle(view.orientation(), &view), _view(view)
    {
        setFocusPolicy(Qt::TabFocus);
        setAccessibleName(VXInterfaceString(u"Divider"_s));
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
        QPainter painter(this);
        const bool isActive = hasFocus() || underMouse();
        const int width = isActive ? 3 : 1;
        const QRect line = orientation() == Qt::Horizontal ? QRect((this->width() - width) / 2, 0, width, height())
                                                           : QRect(0, (height() - width) / 2, this->width(), width);
        painter.fillRect(line, isActive ? colors.accent : colors.line);
    }

    void keyPressEvent(QKeyEvent *event) override
    {
        const bool isHorizontal = orientation() == Qt::Horizontal;
        const int direction = layoutDirection() == Qt::RightToLeft && isHorizontal ? -1 : 1;
        if (event->key() == (isHorizontal ? Qt::Key_Left : Qt::Key_Up))
            move(-keyStep * direction);
        else if (event->key() == (isHorizontal ? Qt::Key_Right : Qt::Key_Down))
            move(keyStep * direction);
        else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
            fold();
        else
            QSplitterHandle::keyPressEvent(event);
    }

    void mouseDoubleClickEvent(QMouseEvent *) override { fold(); }
    void enterEvent(QEnterEvent *) override { update(); }
    void leaveEvent(QEvent *) override { update(); }

private:
    int paneBefore() const { return _view.indexOf(const_cast<DividerHandle *>(this)) - 1; }
    void fold() { _view.setPaneFolded(paneBefore(), !_view.isPaneFolded(paneBefore())); }

    void move(int distance)
    {
        const int index = paneBefore();
        QList<int> sizes = _view.sizes();
        sizes[index] += distance;
        sizes[index + 1] -= distance;
        if (sizes[index] > 0 && sizes[index + 1] > 0)
            _view.setSizes(sizes);
        Q_EMIT _view.splitterMoved(pos().x(), index + 1);
    }

    VXSplitView &_view;
};

} // namespace

VXSplitView::VXSplitView(Qt::Orientation orientation, QWidget *parent) : QSplitter(orientation, parent)
{
    setHandleWidth(7);
    setOpaqueResize(true);
    connect(this, &QSplitter::splitterMoved, this, [this] {
        if (_state != nullptr)
            _state->changed();
    });
}

VXSplitView::~VXSplitView()
{
    if (_state != nullptr)
        _state->write();
}

QSplitterHandle *VXSplitView::createHandle()
{
    return new DividerHandle(*this);
}

void VXSplitView::setAutosaveName(const QString &name)
{
    delete _state;
    _state = new VXSavedState(
        "interface.split."_L1 + name, [this] { return saveState(); }, this);
    const int width = handleWidth();
    if (const QByteArray state = _state->value().toByteArray(); !state.isEmpty())
        restoreState(state);
    setHandleWidth(width); // determined by the theme
}

void VXSplitView::hideEvent(QHideEvent *event)
{
    if (_state != nullptr)
        _state->write();
    QSplitter::hideEvent(event);
}

bool VXSplitView::isPaneFolded(int index) const
{
    return sizes().value(index) == 0;
}

void VXSplitView::setPaneFolded(int index, bool isFolded)
{
    if (index < 0 || index >= count() || isPaneFolded(index) == isFolded)
        return;
    QList<int> sizes = this->sizes();
    const int neighbour = index + 1 < count() ? index + 1 : index - 1;
    if (isFolded) {
        _unfoldedSizes = sizes;
        sizes[neighbour] += sizes[index];
        sizes[index] = 0;
    } else {
        const int wanted = _unfoldedSizes.value(index) > 0 ? _unfoldedSizes.value(index) : standardPane;
        sizes[index] = wanted;
        sizes[neighbour] = std::max(sizes[neighbour] - wanted, 1);
    }
    setSizes(sizes);
    if (_state != nullptr)
        _state->changed();
    Q_EMIT paneFoldingDidChange(index, isFolded);
}
