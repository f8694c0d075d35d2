#include "VXEvalRegistry.h"

#include "VXEvalCalls.h"
#include "VXException.h"
#include "VXHostJSON.h"

using namespace Qt::StringLiterals;

namespace {

QString kindOf(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return u"true or false"_s;
    case QJsonValue::Double:
        return u"the number "_s + QString::fromUtf8(VXJSONText(value));
    case QJsonValue::String:
        return u"a string"_s;
    case QJsonValue::Array:
        return u"an array"_s;
    case QJsonValue::Object:
        return u"an object"_s;
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return u"null"_s;
}

QJsonObject errorObject(const QString &text)
{
    return {{u"error"_s, text}};
}

QJsonObject answerObject(const VXEvalAnswer &answer)
{
    if (!answer.error.isNull())
        return errorObject(answer.error);
    QJsonObject object = VXJSONFromVariant(answer.outValues).toObject();
    object.insert(u"result"_s, VXJSONFromVariant(answer.result));
    return object;
}

} // namespace

bool VXEvalArguments::checkCount(qsizetype required)
{
    if (_values.size() >= required && _values.size() <= _names.size())
        return true;
    const QString expected =
        required == _names.size() ? QString::number(required) : u"%1 to %2"_s.arg(required).arg(_names.size());
    _error =
        u"%1: %2 arguments expected (%3), %4 given"_s.arg(_call, expected, _names.join(", "_L1)).arg(_values.size());
    return false;
}

void VXEvalArguments::setUnfit(qsizetype index, const QString &expected)
{
    _error = u"%1: argument %2 (%3) must be %4, not %5"_s.arg(_call).arg(index + 1).arg(_names.at(index), expected,
                                                                                        kindOf(_values.at(index)));
}

const VXEvalRegistry &VXEvalRegistry::standard()
{
    static const VXEvalRegistry registry = [] {
        VXEvalRegistry calls;
        VXAddCoreCalls(calls);
        VXAddDeviceCalls(calls);
        VXAddPhonebookCalls(calls);
        VXAddPluginCalls(calls);
        return calls;
    }();
    return registry;
}

void VXEvalRegistry::addCall(const QString &name, std::size_t parameterCount, const Call &call)
{
    VXAssert(static_cast<std::size_t>(call.parameterNames.size()) == parameterCount && !_calls.contains(name),
             u"Call registered wrongly: %1"_s.arg(name));
    _calls.insert(name, call);
}

QJsonObject VXEvalRegistry::answer(const QJsonObject &request) const
{
    const QJsonValue name = request.value("call"_L1);
    const QJsonValue arguments = request.value("args"_L1);
    if (!name.isString())
        return errorObject(u"\"call\" must be a string"_s);
    if (!arguments.isArray() && !arguments.isUndefined())
        return errorObject(u"\"args\" must be an array"_s);
    const QString callName = name.toString();
    const auto call = _calls.constFind(callName);
    if (call == _calls.constEnd())
        return errorObject(u"unknown call \"%1\""_s.arg(callName));
    const QJsonArray values = arguments.toArray();
    VXEvalArguments unpacked(callName, call->parameterNames, values);
    try {
        return answerObject(call->run(unpacked));
    } catch (const std::exception &exception) {
        return errorObject(u"%1: %2"_s.arg(callName, QString::fromUtf8(exception.what())));
    }
}
