#include "VXHostHelp.h"

#include <QtCore/QMap>

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

// Of every option that takes a value, how to complete it, by "--name".
QMap<QString, QString> valueOptions(const VXHostCommandTable &commands)
{
    QMap<QString, QString> result;
    const auto add = [&result](const QList<VXHostOption> &options) {
        for (const VXHostOption &option : options) {
            if (!option.placeholder.isNull())
                result.insert("--"_L1 + option.name, valueCompletion(option.placeholder, option.choices));
        }
    };
    add(commands.globalOptions());
    for (const VXHostCommand &command : commands.commands())
        add(command.options);
    return result;
}

QString commandCase(const VXHostCommand &command)
{
    QString text = u"        %1)\n"_s.arg(command.name);
    if (!command.options.isEmpty())
        text += u"            options=\"$options %1\"\n"_s.arg(optionWords(command.options));
    const QString operand = valueCompletion(command.synopsis, command.firstOperands);
    if (!command.firstOperands.isEmpty())
        text += u"            [[ $operands -eq 0 && $current != -* ]] && %1\n"_s.arg(operand);
    else if (operand != ":"_L1)
        text += u"            [[ $current != -* ]] && %1\n"_s.arg(operand);
    return text + u"            ;;\n"_s;
}

} // namespace

QString VXHostBashCompletion(const VXHostCommandTable &commands)
{
    const auto values = valueOptions(commands);
    QStringList names;
    QString cases;
    for (const VXHostCommand &command : commands.commands()) {
        if (command.isHidden)
            continue;
        names.append(command.name);
        cases += commandCase(command);
    }
    QString valueCases;
    for (auto value = values.begin(); value != values.end(); ++value)
        valueCases += u"        %1) %2; return ;;\n"_s.arg(value.key(), value.value());

    return uR"(# bash completion for vornix

_vornix()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local command='' operands=0 word i
    local options='%1'
    COMPREPLY=()
    case $previous in
%2    esac
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        case $word in
            %3) ((i++)) ;;
            -*) ;;
            *) if [[ -z $command ]]; then command=$word; else ((operands++)); fi ;;
        esac
    done
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
)"_s.arg(optionWords(commands.globalOptions()), valueCases, QStringList(values.keys()).join(u'|'), names.join(u' '),
         cases);
}
