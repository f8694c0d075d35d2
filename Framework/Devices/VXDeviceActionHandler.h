#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QMetaMethod>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <functional>

class VXDeviceAction;

/**
 * Carries out a device action: a target, and which of its methods to call with the action. The target is not kept
 * alive; once it is gone, the handler is null. A value type; copies are independent.
 */
class VX_EXPORT VXDeviceActionHandler
{
public:
    using Call = std::function<void(VXDeviceAction *)>;

    /** Makes a null handler. */
    VXDeviceActionHandler() = default;
    /** Makes a handler that calls a function on behalf of the target. */
    VXDeviceActionHandler(QObject *target, Call call);

    /** Makes a handler from the target's invokable method of that name, which takes a VXDeviceAction *; null when there
     *  is none. */
    static VXDeviceActionHandler withSelector(QObject *target, const QByteArray &selector);

    bool isNull() const { return _target.isNull() || (!_method.isValid() && !_call); }
    QObject *target() const { return _target; }

    /** Passes the action to the target, on this thread. Exceptions of the target pass through. */
    void invoke(VXDeviceAction *action) const;

    /** Target and method, for logs. */
    QString description() const;

private:
    QPointer<QObject> _target;
    QMetaMethod _method; // invalid: _call is to be used
    Call _call;
};
