#include "VXHostHelp.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString optionWords(const QList<VXHostOption> &options)
{
    QStringList words;
    for (const VXHostOption &option : options)
        words.append("--"_L1 + option.name);
    return words.join(u' ');
}

// What completes a value: its choices, else folders or files by its placeholder.
QString valueCompletion(const QString &placeholder, const QStringList &choices)
{
    if (!choices.isEmpty())
        return u"COMPREPLY=($(compgen -W '%1' -- \"$current\"))"_s.arg(choices.join(u' '));
    if (placeholder == "DIR"_L1)
        return u"COMPREPLY=($(compgen -d -- \"$current\"))"_s;
    if (placeholder.contains("FILE"_L1))
        return u"COMPREPLY=($(compgen -f -- \"$current\"))"_s;
    return u":"_s;
}

bool takesValue(const VXHostOption &option)
{
    return !option.placeholder.isNull();
}

// The names of all options that take a value, as "--name".
QStringList valueOptions(const VXHostCommandTable &commands)
{
    QList<VXHostOption> all = commands.globalOptions();
    for (const VXHostCommand &command : commands.commands())
        all += command.options;
    QStringList names;
    for (const VXHostOption &option : std::as_const(all)) {
        if (takesValue(option))
            names.append("--"_L1 + option.name);
    }
    names.sort();
    names.removeDuplicates();
    return names;
}

// How to complete the values of options: those of a command, or with "*" those that go with any.
QString valueCases(const QString &command, const QList<VXHostOption> &options)
{
    QString text;
    for (const VXHostOption &option : options) {
        if (takesValue(option))
            text += u"        %1\\ --%2) %3; return ;;\n"_s.arg(command, option.name,
                                                                valueCompletion(option.placeholder, option.choices));
    }
    return text;
}

QString commandCase(const VXHostCommand &command, const QStringList &commandNames)
{
    const QStringList first = command.synopsis == "[COMMAND]"_L1 ? commandNames : command.firstOperands;
    QString text = u"        %1)\n"_s.arg(command.name);
    if (!command.options.isEmpty())
        text += u"            options=\"$options %1\"\n"_s.arg(optionWords(command.options));
    const QString operand = valueCompletion(command.synopsis, first);
    if (!first.isEmpty())
        text += u"            [[ $operands -eq 0 && $current != -* ]] && %1\n"_s.arg(operand);
    else if (operand != ":"_L1)
        text += u"            [[ $current != -* ]] && %1\n"_s.arg(operand);
    return text + u"            ;;\n"_s;
}

} // namespace

QString VXHostBashCompletion(const VXHostCommandTable &commands)
{
    QStringList names;
    for (const VXHostCommand &command : commands.commands()) {
        if (!command.isHidden)
            names.append(command.name);
    }
    QString cases;
    QString values = valueCases(u"*"_s, commands.globalOptions());
    for (const VXHostCommand &command : commands.commands()) {
        if (command.isHidden)
            continue;
        cases += commandCase(command, names);
        values += valueCases(command.name, command.options);
    }

    return uR"(# bash completion for vornix

_vornix()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local command='' operands=0 word i
    local options='%1'
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        case $word in
            %2) ((i++)) ;;
            -*) ;;
            *) if [[ -z $command ]]; then command=$word; else ((operands++)); fi ;;
        esac
    done
    case "$command $previous" in
%3    esac
    case $command in
        '')
            options="$options %4"
            ;;
%5    esac
    if [[ $current == -* || -z $command ]]; then
        COMPREPLY+=($(compgen -W "$options" -- "$current"))
    fi
}

complete -o filenames -F _vornix vornix
)"_s.arg(optionWords(commands.globalOptions()), valueOptions(commands).join(u'|'), values, names.join(u' '), cases);
}
