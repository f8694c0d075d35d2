#include "VXWindowMemory.h"

#include "VXSavedState.h"

#include <QtCore/QEvent>
#include <QtCore/QSize>
#include <QtWidgets/QWidget>

using namespace Qt::StringLiterals;

namespace {

/** Observes changes of a window's position and size. */
class WindowMemory : public QObject
{
public:
    WindowMemory(QWidget &window, const QString &name)
        : QObject(&window), _state(
                                "interface.window."_L1 + name, [&window] { return window.saveGeometry(); }, this)
    {
        window.installEventFilter(this);
    }

    QByteArray geometry() const { return _state.value().toByteArray(); }

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::Move:
        case QEvent::Resize:
        case QEvent::WindowStateChange:
            if (static_cast<QWidget *>(object)->isVisible())
                _state.changed();
            break;
        case QEvent::Close:
        case QEvent::Hide:
            _state.write();
            break;
        default:
            break;
        }
        return false;
    }

private:
    VXSavedState _state;
};

} // namespace

void VXRememberWindow(QWidget &window, const QString &name, const QSize &standardSize)
{
    auto *const memory = new WindowMemory(window, name);
    if (const QByteArray geometry = memory->geometry(); geometry.isEmpty() || !window.restoreGeometry(geometry))
        window.resize(standardSize);
}
