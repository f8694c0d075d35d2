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

// The arguments are of the types that the method takes, and stay as they are: it gets them by value or const reference.
std::optional<QVariant> call(QObject *target, const QMetaMethod &method, QMetaType returned,
                             const QVariantList &arguments)
{
    const bool returnsVariant = returned == QMetaType::fromType<QVariant>();
    QVariant result;
    if (returned != QMetaType::fromType<void>() && !returnsVariant)
        result = QVariant(returned);
    std::array<void *, maximumArguments + 1> places{returnsVariant ? &result : result.data()};
    for (int index = 0; index < method.parameterCount(); ++index) {
        const bool wantsVariant = method.parameterMetaType(index) == QMetaType::fromType<QVariant>();
        const void *const place = wantsVariant ? &arguments[index] : arguments[index].constData();
        places[size_t(index) + 1] = const_cast<void *>(place);
    }
    QMetaObject::metacall(target, QMetaObject::InvokeMetaMethod, method.methodIndex(), places.data());
    return result;
}

} // namespace

VXInvocation::VXInvocation(QObject *target, std::function<QVariant()> call) : _target(target), _call(std::move(call)) {}

VXInvocation VXInvocation::withMethod(QObject *target, const QByteArray &method, const QVariantList &arguments)
{
    if (!respondsTo(target, method, arguments.size()))
        return {};
    VXInvocation invocation;
    invocation._target = target;
    const QMetaMethod found = findMethod(target->metaObject(), method, arguments.size());
    QVariantList converted = arguments;
    if (convertArguments(found, converted))
        invocation._call = [target, found, returned = found.returnMetaType(), converted] {
            return call(target, found, returned, converted);
        };
    else
        invocation._call = []() -> std::optional<QVariant> { return std::nullopt; };
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
