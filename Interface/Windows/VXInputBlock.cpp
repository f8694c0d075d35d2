#include "VXInputBlock.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtGui/QWindow>
#include <QtWidgets/QWidget>

VXInputBlock::VXInputBlock()
{
    QCoreApplication::instance()->installEventFilter(this);
}

VXInputBlock::~VXInputBlock() = default;

bool VXInputBlock::eventFilter(QObject *object, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Shortcut:
    case QEvent::ShortcutOverride:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
    case QEvent::DragEnter:
    case QEvent::Drop:
    case QEvent::TouchBegin:
    case QEvent::InputMethod:
        return object->isWidgetType() || qobject_cast<QWindow *>(object) != nullptr;
    case QEvent::Close:
        // A window that closes itself is no input; a request by the system comes to the QWindow first.
        if (qobject_cast<QWindow *>(object) != nullptr && event->spontaneous()) {
            event->ignore();
            return true;
        }
        return false;
    default:
        return QObject::eventFilter(object, event);
    }
}
