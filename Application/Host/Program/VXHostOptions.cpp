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
    if (_error.isNull() && _command != nullptr && !isSet(u"help"_s) && !isSet(u"version"_s)) {
        checkVerb();
        checkOptions();
    }
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
    fail(u"unknown command \"%1\"%2"_s.arg(argument, commands.hintFor(argument)));
}

QString VXHostOptions::verb() const
{
    if (_command == nullptr || _command->verbs.isEmpty())
        return {};
    const QString name = _operands.value(0, _command->needsVerb ? QString() : _command->verbs.constFirst().name);
    if (!_command->hasNamelessVerb())
        return name;
    const auto named = std::ranges::find(_command->verbs, name, &VXHostVerb::name);
    return named != _command->verbs.end() && _operands.size() - 1 <= named->maximum ? name : QString();
}

void VXHostOptions::checkVerb()
{
    const QList<VXHostVerb> &verbs = _command->verbs;
    if (verbs.isEmpty())
        return checkOperands({.name = _command->name,
                              .operands = _command->synopsis,
                              .minimum = _command->minimumOperands,
                              .maximum = _command->maximumOperands},
                             _operands);
    const QString name = verb();
    const auto found = std::ranges::find(verbs, name, &VXHostVerb::name);
    if (found != verbs.end())
        return checkOperands(*found, found->name.isEmpty() ? _operands : _operands.mid(1));
    const QStringList names = _command->verbNames();
    fail(name.isNull() ? u"%1 needs one of %2"_s.arg(_command->name, names.join(", "_L1))
                       : u"\"%1\" is none of %2"_s.arg(name, names.join(", "_L1)) + VXDidYouMean(name, names));
}

void VXHostOptions::checkOperands(const VXHostVerb &verb, const QStringList &operands)
{
    const QString name = verb.name.isEmpty() ? _command->name : verb.name;
    const QStringList filled = operands.first(std::min(operands.size(), verb.minimum - (verb.mayEndEmpty ? 1 : 0)));
    if (operands.size() < verb.minimum || filled.contains(u""_s))
        fail(u"%1 needs %2"_s.arg(name, verb.operands));
    else if (operands.size() > verb.maximum)
        fail(verb.maximum == 0 ? u"%1 takes nothing more"_s.arg(name)
                               : u"%1 takes no \"%2\"; several words go between quotation marks"_s.arg(
                                     name, operands.at(verb.maximum)));
}

void VXHostOptions::checkOptions()
{
    const QString name = verb();
    for (const VXHostOption &option : _command->options) {
        if (isSet(option.name) && !option.verbs.isEmpty() && !option.verbs.contains(name))
            fail(u"--%1 does not go with %2"_s.arg(option.name, name.isEmpty() ? _command->name : name));
    }
}

// Only the first mistake is reported; parsing continues, so that --json is recognised wherever it is.
void VXHostOptions::fail(const QString &error)
{
    if (_error.isNull())
        _error = error;
}
