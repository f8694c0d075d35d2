#include "VXInvocation.h"

#include <QtCore/QMetaMethod>

#include <array>

namespace {

constexpr qsizetype maximumArguments = 10; // of Qt's dynamic calls

// The most derived method with that name and number of arguments, so that overrides in subclasses are used.
QMetaMethod findMethod(const QMetaObject *type, const QByteArray &name, qsizetype argumentCount)
{
    for (int index = type->methodCount() - 1; index >= 0; --index) {
        const QMetaMethod method = type->method(index);
        if (method.name() == name && method.parameterCount() == argumentCount)
            return method;
    }
    return {};
}

// Converts the arguments in place to the parameter types.
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

/**
 * A call that is ready to be made: its arguments have the parameter types. They do not change, since they are passed by
 * value or const reference.
 */
class PreparedCall
{
public:
    PreparedCall(QObject *target, const QMetaMethod &method, const QVariantList &arguments)
        : _target(target), _methodIndex(method.methodIndex()), _arguments(arguments), _returned(method.returnMetaType())
    {
        for (int index = 0; index < method.parameterCount(); ++index)
            _wantsVariant[size_t(index)] = method.parameterMetaType(index) == QMetaType::fromType<QVariant>();
        _returnsVariant = _returned == QMetaType::fromType<QVariant>();
        _returnsNothing = _returned == QMetaType::fromType<void>();
    }

    std::optional<QVariant> operator()() const
    {
        std::optional<QVariant> result(std::in_place);
        if (!_returnsNothing && !_returnsVariant)
            *result = QVariant(_returned);
        void *places[maximumArguments + 1]; // the first is for the return value
        places[0] = _returnsNothing ? nullptr : _returnsVariant ? &*result : result->data();
        for (qsizetype index = 0; index < _arguments.size(); ++index) {
            const QVariant &argument = _arguments[index];
            const void *const place = _wantsVariant[size_t(index)] ? &argument : argument.constData();
            places[index + 1] = const_cast<void *>(place);
        }
        QMetaObject::metacall(_target, QMetaObject::InvokeMetaMethod, _methodIndex, places);
        return result;
    }

private:
    QObject *const _target; // the invocation checks that it still exists
    const int _methodIndex;
    const QVariantList _arguments;
    const QMetaType _returned;
    bool _returnsVariant;
    bool _returnsNothing;
    std::array<bool, maximumArguments> _wantsVariant{};
};

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
        invocation._call = PreparedCall(target, found, converted);
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
