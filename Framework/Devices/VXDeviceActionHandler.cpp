#include "VXDeviceActionHandler.h"

#include "VXDeviceAction.h"

#include <QtCore/QMetaObject>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The most derived method of that name that takes an action, so that overrides in subclasses are used.
QMetaMethod methodTakingAction(const QMetaObject &type, const QByteArray &name)
{
    for (int index = type.methodCount() - 1; index >= 0; --index) {
        const QMetaMethod method = type.method(index);
        if (method.name() == name && method.parameterTypes() == QByteArrayList{"VXDeviceAction*"})
            return method;
    }
    return {};
}

} // namespace

VXDeviceActionHandler::VXDeviceActionHandler(QObject *target, Call call) : _target(target), _call(std::move(call)) {}

VXDeviceActionHandler VXDeviceActionHandler::withSelector(QObject *target, const QByteArray &selector)
{
    VXDeviceActionHandler handler;
    if (target == nullptr)
        return handler;
    handler._method = methodTakingAction(*target->metaObject(), selector);
    if (handler._method.isValid())
        handler._target = target;
    return handler;
}

void VXDeviceActionHandler::invoke(VXDeviceAction *action) const
{
    QObject *const target = _target;
    if (isNull())
        return;
    if (_method.isValid()) { // its parameters were checked when it was looked up
        std::array<void *, 2> arguments{nullptr, static_cast<void *>(&action)};
        QMetaObject::metacall(target, QMetaObject::InvokeMetaMethod, _method.methodIndex(), arguments.data());
    } else {
        _call(action);
    }
}

QString VXDeviceActionHandler::description() const
{
    QObject *const target = _target;
    if (target == nullptr)
        return u"(null)"_s;
    return u"-[%1 %2]"_s.arg(QString::fromLatin1(target->metaObject()->className()),
                             _method.isValid() ? QString::fromUtf8(_method.name()) : u"handler"_s);
}
