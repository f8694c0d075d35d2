#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/**
 * A message to an object, to be delivered later: who is meant, and what to call with which arguments. It does not
 * keep the target alive: once that is gone, delivering does nothing. Deliver on the target's thread.
 */
class VX_PLATFORM_EXPORT VXInvocation
{
public:
    /** No message. */
    VXInvocation() = default;
    VXInvocation(QObject *target, std::function<QVariant()> call);

    /**
     * A call of the target's invokable method, slot or signal with that name and as many arguments; they are
     * converted to the parameters' types. No message when the target does not respond.
     */
    static VXInvocation withMethod(QObject *target, const QByteArray &method, const QVariantList &arguments = {});

    /** True when the object has an invokable method of that name that takes so many arguments. */
    static bool respondsTo(const QObject *target, const QByteArray &method, qsizetype argumentCount = 0);

    bool isNull() const { return !_call; }
    /** Null for no message and when the target is gone. */
    QObject *target() const { return _target; }

    /** Delivers. @return what the call returned, invalid for void; empty when nothing could be called. */
    std::optional<QVariant> invoke() const;

private:
    QPointer<QObject> _target;
    std::function<std::optional<QVariant>()> _call;
};
