#include "VXInvocation.h"

#include <QtCore/QMetaMethod>

#include <array>

namespace {

constexpr qsizetype maximumArguments = 10; // of Qt's dynamic calls

// The most derived method of that name and count, so that overriding in a subclass holds.
QMetaMethod findMethod(const QMetaObject *type, const QByteArray &name, qsizetype argumentCount)
{
    for (int index = type->methodCount() - 1; index >= 0; --index) {
        const QMetaMethod method = type->method(index);
        if (method.name() == name && method.parameterCount() == argumentCount)
            return method;
    }
    return {};
}

// Converts the arguments in place to what the method takes.
bool convertArguments(const QMetaMethod &method, QVariantList &arguments)
{
    for (int index = 0; index < method.parameterCount(); ++index) {
        const QMetaType wanted = method.parameterMetaType(index);
        QVariant &argument = arguments[index];
        if (wanted != QMetaType::fromType<QVariant>() && argument.metaType() != wanted && !argument.convert(wanted))
            return false;
    }
    return true;
}

std::optional<QVariant> call(QObject *target, const QMetaMethod &method, QVariantList arguments)
{
    if (!convertArguments(method, arguments))
        return std::nullopt;
    std::array<QGenericArgument, maximumArguments> generic;
    for (int index = 0; index < method.parameterCount(); ++index) {
        const QMetaType type = method.parameterMetaType(index);
        QVariant &argument = arguments[index];
        const bool wantsVariant = type == QMetaType::fromType<QVariant>();
        generic[size_t(index)] = QGenericArgument(type.name(), wantsVariant ? &argument : argument.constData());
    }
    const QMetaType returned = method.returnMetaType();
    QVariant result;
    if (returned != QMetaType::fromType<void>() && returned != QMetaType::fromType<QVariant>())
        result = QVariant(returned);
    void *const place = returned == QMetaType::fromType<QVariant>() ? &result : result.data();
    const QGenericReturnArgument into(returned.name(), place);
    const bool done =
        method.invoke(target, Qt::DirectConnection,
                      returned == QMetaType::fromType<void>() ? QGenericReturnArgument() : into, generic[0], generic[1],
                      generic[2], generic[3], generic[4], generic[5], generic[6], generic[7], generic[8], generic[9]);
    return done ? std::optional(result) : std::nullopt;
}

} // namespace

VXInvocation::VXInvocation(QObject *target, std::function<QVariant()> call) : _target(target), _call(std::move(call)) {}

VXInvocation VXInvocation::withMethod(QObject *target, const QByteArray &method, const QVariantList &arguments)
{
    if (!respondsTo(target, method, arguments.size()))
        return {};
    VXInvocation invocation;
    invocation._target = target;
    invocation._call = [target, arguments, found = findMethod(target->metaObject(), method, arguments.size())] {
        return call(target, found, arguments);
    };
    return invocation;
}

bool VXInvocation::respondsTo(const QObject *target, const QByteArray &method, qsizetype argumentCount)
{
    return target != nullptr && argumentCount <= maximumArguments &&
           findMethod(target->metaObject(), method, argumentCount).isValid();
}

std::optional<QVariant> VXInvocation::invoke() const
{
    return _call && _target ? _call() : std::nullopt;
}
