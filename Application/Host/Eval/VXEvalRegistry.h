#pragma once

#include "VXEvalParameter.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

/** A call's answer: its result, further output values by name, or an error if that is not null. */
struct VXEvalAnswer
{
    QVariant result;
    QVariantMap outValues = {};
    QString error = {};
};

/** The arguments of one call, while they are converted for the parameters of its function. */
class VXEvalArguments
{
public:
    VXEvalArguments(const QString &call, const QStringList &names, const QJsonArray &values)
        : _call(call), _names(names), _values(values)
    {
    }

    /** Returns false, and sets the error, if there are too many or too few. */
    bool checkCount(qsizetype required);

    /** Stores one argument; returns false, and sets the error, if it is unsuitable. */
    template <class T>
    bool read(qsizetype index, T &parameter)
    {
        if (index >= _values.size())
            return true; // optional and omitted
        if (VXEvalParameter<T>::read(_values.at(index), parameter))
            return true;
        setUnfit(index, VXEvalParameter<T>::kind());
        return false;
    }

    QString error() const { return _error; }

private:
    void setUnfit(qsizetype index, const QString &expected);

    const QString &_call;
    const QStringList &_names;
    const QJsonArray &_values;
    QString _error;
};

/**
 * The calls that "vornix eval" knows. One line registers a call: its name, the names of its parameters and a function,
 * whose C++ parameter types determine what the arguments must be (VXEvalParameter). The function returns a value that
 * fits into a QVariant, or a VXEvalAnswer. Reading is reentrant.
 */
class VXEvalRegistry
{
public:
    /** The program's own calls. */
    static const VXEvalRegistry &standard();

    template <class Function>
    void add(const QString &name, const QStringList &parameterNames, Function function)
    {
        addFunction(name, parameterNames, std::function(std::move(function)));
    }

    QStringList names() const { return _calls.keys(); }

    /** Carries out {"call": NAME, "args": [...]}; the answer is {"result": ..., out values} or {"error": TEXT}. */
    QJsonObject answer(const QJsonObject &request) const;

private:
    struct Call
    {
        QStringList parameterNames;
        std::function<VXEvalAnswer(VXEvalArguments &)> run;
    };

    template <class Result, class... Parameters>
    void addFunction(const QString &name, const QStringList &parameterNames,
                     std::function<Result(Parameters...)> function)
    {
        addCall(name, sizeof...(Parameters),
                {parameterNames, [function](VXEvalArguments &arguments) { return run(function, arguments); }});
    }

    template <class Result, class... Parameters>
    static VXEvalAnswer run(const std::function<Result(Parameters...)> &function, VXEvalArguments &arguments)
    {
        std::tuple<std::decay_t<Parameters>...> values;
        const auto readAll = [&]<std::size_t... I>(std::index_sequence<I...>)
        {
            return (arguments.read(qsizetype(I), std::get<I>(values)) && ...);
        };
        if (!arguments.checkCount(requiredCount<std::decay_t<Parameters>...>()) ||
            !readAll(std::index_sequence_for<Parameters...>()))
            return {{}, {}, arguments.error()};
        if constexpr (std::is_same_v<Result, VXEvalAnswer>)
            return std::apply(function, std::move(values));
        else
            return {QVariant::fromValue(std::apply(function, std::move(values))), {}, {}};
    }

    // The number of required arguments: up to the last one that is not optional.
    template <class... Parameters>
    static constexpr qsizetype requiredCount()
    {
        qsizetype count = 0;
        qsizetype index = 0;
        ((++index, count = VXIsOptionalParameter<Parameters> ? count : index), ...);
        return count;
    }

    void addCall(const QString &name, std::size_t parameterCount, const Call &call);

    QHash<QString, Call> _calls;
};
