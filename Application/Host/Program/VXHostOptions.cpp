#include "VXHostOptions.h"

#include "VXHostCommandTable.h"
#include "VXNearestWord.h"

using namespace Qt::StringLiterals;

namespace {

bool isOption(const QString &argument)
{
    return argument.size() > 1 && argument.startsWith(u'-') && !argument[1].isDigit();
}

const VXHostOption *findOption(const QList<VXHostOption> &options, const QString &name)
{
    const auto found = std::ranges::find(options, name, &VXHostOption::name);
    return found == options.end() ? nullptr : &*found;
}

} // namespace

VXHostOptions::VXHostOptions(const QStringList &arguments, const VXHostCommandTable &commands)
{
    QStringList rest = arguments;
    bool optionsEnded = false;
    while (!rest.isEmpty()) {
        const QString argument = rest.takeFirst();
        if (optionsEnded || !isOption(argument))
            readOperand(argument, commands);
        else if (argument == "--"_L1)
            optionsEnded = true;
        else
            readOption(argument, rest, commands);
    }
    if (_error.isNull() && _command != nullptr && !isSet(u"help"_s) && !isSet(u"version"_s))
        checkOperands();
}

void VXHostOptions::readOption(const QString &argument, QStringList &rest, const VXHostCommandTable &commands)
{
    const qsizetype equals = argument.indexOf(u'=');
    const QString shown = equals < 0 ? argument : argument.first(equals);
    const QString name = shown == "-h"_L1 ? u"help"_s : shown.startsWith("--"_L1) ? shown.sliced(2) : QString();
    const VXHostOption *option = findOption(commands.globalOptions(), name);
    if (option == nullptr && _command != nullptr)
        option = findOption(_command->options, name);
    if (option == nullptr) {
        QStringList known;
        for (const VXHostOption &each :
             commands.globalOptions() + (_command ? _command->options : QList<VXHostOption>()))
            known.append("--"_L1 + each.name);
        return fail(u"unknown option %1%2"_s.arg(shown, VXDidYouMean(shown, known)));
    }
    if (option->placeholder.isNull()) {
        if (equals >= 0)
            return fail(u"%1 takes no value"_s.arg(shown));
        _values.insert(name, u""_s);
        _occurrences.append({name, u""_s});
        return;
    }
    if (equals < 0 && rest.isEmpty())
        return fail(u"%1 needs a value: %2"_s.arg(shown, option->placeholder));
    const QString value = equals < 0 ? rest.takeFirst() : argument.sliced(equals + 1);
    if (value.isEmpty() && !option->mayBeEmpty)
        return fail(u"%1 needs a value: %2"_s.arg(shown, option->placeholder));
    if (!option->choices.isEmpty() && !option->choices.contains(value))
        return fail(u"%1 must be one of %2"_s.arg(shown, option->choices.join(", "_L1)) +
                    VXDidYouMean(value, option->choices));
    if (isSet(name) && !option->mayRepeat)
        return fail(u"%1 is given twice"_s.arg(shown));
    _values.insert(name, value);
    _occurrences.append({name, value});
}

void VXHostOptions::readOperand(const QString &argument, const VXHostCommandTable &commands)
{
    if (_command != nullptr) {
        _operands.append(argument);
        return;
    }
    _command = commands.find(argument);
    if (_command != nullptr || !_error.isNull())
        return;
    fail(u"unknown command \"%1\"%2"_s.arg(argument, VXDidYouMean(argument, commands.names())));
}

void VXHostOptions::checkOperands()
{
    const QStringList &verbs = _command->firstOperands;
    if (!verbs.isEmpty() && !_operands.isEmpty() && !verbs.contains(_operands.first()))
        fail(u"\"%1\" is none of %2"_s.arg(_operands.first(), verbs.join(", "_L1)) +
             VXDidYouMean(_operands.first(), verbs));
    else if (_operands.size() < _command->minimumOperands)
        fail(u"too few arguments: "_s + needs());
    else if (_operands.size() > _command->maximumOperands)
        fail(u"unexpected argument \"%1\""_s.arg(_operands.at(_command->maximumOperands)));
    const QString verb = _operands.value(0, verbs.value(0));
    for (const VXHostOption &option : _command->options) {
        if (isSet(option.name) && !option.verbs.isEmpty() && !option.verbs.contains(verb))
            fail(u"--%1 does not go with %2"_s.arg(option.name, verb));
    }
}

// "store check needs PATH"
QString VXHostOptions::needs() const
{
    const QString verb = _operands.value(0);
    if (_command->verbSynopses.contains(verb))
        return u"%1 %2 needs %3"_s.arg(_command->name, verb, _command->verbSynopses.value(verb));
    const bool lacksVerb = _operands.isEmpty() && !_command->firstOperands.isEmpty();
    return u"%1 needs %2"_s.arg(_command->name,
                                lacksVerb ? "one of "_L1 + _command->firstOperands.join(", "_L1) : _command->synopsis);
}

// The first mistake is the one told; reading goes on, so that --json is known wherever it stands.
void VXHostOptions::fail(const QString &error)
{
    if (_error.isNull())
        _error = error;
}
