#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/**
 * A call to be made later: the target, and what to call with which arguments. It does not keep the target alive: once
 * that is destroyed, invoking does nothing. To be invoked on the target's thread.
 */
class VX_PLATFORM_EXPORT VXInvocation
{
public:
    /** A null invocation. */
    VXInvocation() = default;
    VXInvocation(QObject *target, std::function<QVariant()> call);

    /**
     * A call of the target's invokable method, slot or signal with that name and number of arguments; these are
     * converted to the parameters' types. Null when the target has no such method.
     */
    static VXInvocation withMethod(QObject *target, const QByteArray &method, const QVariantList &arguments = {});

    /** Whether the object has an invokable method of that name with so many arguments. */
    static bool respondsTo(const QObject *target, const QByteArray &method, qsizetype argumentCount = 0);

    bool isNull() const { return !_call; }
    /** Null for a null invocation and when the target is destroyed. */
    QObject *target() const { return _target; }

    /** Makes the call. @return its result, invalid for void; empty when nothing could be called. */
    std::optional<QVariant> invoke() const;

private:
    QPointer<QObject> _target;
    std::function<std::optional<QVariant>()> _call;
};
