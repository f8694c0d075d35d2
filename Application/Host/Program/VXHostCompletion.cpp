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

// How to complete a value: by its choices, else with folders or files according to its placeholder.
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

// The shell code that asks for words of a kind. Options are those of the reactor before them, or of the exporter that
// is the first operand.
QString bashWords(const QString &kind)
{
    return kind == "options"_L1 ? u"_vornix_words options \"${reactor:-${given[0]}}\" \"${current//\\\\/}\""_s
                                : "_vornix_words "_L1 + kind;
}

// How to complete the values of options: those of a command, or, for "*", those that go with any command.
QString valueCases(const QString &command, const QList<VXHostOption> &options)
{
    QString text;
    for (const VXHostOption &option : options) {
        if (takesValue(option))
            text += u"        %1\\ --%2) %3; return ;;\n"_s.arg(
                command, option.name,
                option.valueKind.isEmpty() ? valueCompletion(option.placeholder, option.choices)
                                           : bashWords(option.valueKind));
    }
    return text;
}

// Words of the kinds that operands name, each of which may be "of" the one before.
QString operandCases(const VXHostCommand &command)
{
    QString text;
    const auto add = [&](const QString &verb, const QStringList &kinds, qsizetype place) {
        for (const QString &kind : kinds) {
            const QString of = place > 0 ? u" \"${given[%1]}\""_s.arg(place - 1) : QString();
            text += u"                %1\\ %2) %3 ;;\n"_s.arg(verb).arg(place).arg(
                kind == "files"_L1 ? u"COMPREPLY=($(compgen -f -- \"$current\"))"_s : "_vornix_words "_L1 + kind + of);
            ++place;
        }
    };
    for (const VXHostVerb &verb : command.verbs)
        add(verb.name, verb.operandKinds, 1);
    add(u"*"_s, command.operandKinds, 0);
    return text.isEmpty()
               ? text
               : u"            [[ $current != -* ]] && case \"${given[0]} $operands\" in\n%1            esac\n"_s.arg(
                     text);
}

// The verbs that an option does not go with.
QStringList verbsWithout(const VXHostCommand &command, const VXHostOption &option)
{
    QStringList names = command.verbNames();
    names.removeIf([&](const QString &name) { return option.verbs.contains(name); });
    return names;
}

QString commandCase(const VXHostCommand &command, const QStringList &commandNames)
{
    const QStringList first = command.synopsis == "[COMMAND]"_L1 ? commandNames : command.verbNames();
    QString text = u"        %1)\n"_s.arg(command.name);
    for (const VXHostOption &option : command.options) {
        const QString others = verbsWithout(command, option).join(u' ');
        const QString condition =
            option.verbs.contains(QString())
                ? u"[[ $operands -eq 0 || ' %1 ' != *\" ${given[0]} \"* ]] && "_s.arg(others)
                : u"[[ $operands -eq 0 || ' %1 ' == *\" ${given[0]} \"* ]] && "_s.arg(option.verbs.join(u' '));
        text += u"            %1options=\"$options --%2\"\n"_s.arg(option.verbs.isEmpty() ? QString() : condition,
                                                                   option.name);
    }
    const QString operand = valueCompletion(command.synopsis, first);
    if (!first.isEmpty())
        text += u"            [[ $operands -eq 0 && $current != -* ]] && %1\n"_s.arg(operand);
    else if (operand != ":"_L1)
        text += u"            [[ $current != -* ]] && %1\n"_s.arg(operand);
    return text + operandCases(command) + u"            ;;\n"_s;
}

} // namespace

QString VXHostBashCompletion(const VXHostCommandTable &commands)
{
    const QStringList names = commands.names();
    QString cases;
    QString values = valueCases(u"*"_s, commands.globalOptions());
    for (const VXHostCommand &command : commands.commands()) {
        if (command.isHidden)
            continue;
        cases += commandCase(command, names);
        values += valueCases(command.name, command.options);
    }

    return uR"script(# bash completion for vornix

# KIND [OF]: what there is of it. The names may hold blanks, and whatever a shell would expand.
_vornix_words()
{
    local name typed=${current//\\/}
    typed=${typed#[\'\"]}
    while IFS= read -r name; do
        [[ $name == "$typed"* ]] && COMPREPLY+=("$name")
    done < <(vornix "${home[@]}" completion words "$@" 2>/dev/null)
}

_vornix_complete()
{
    local command='' operands=0 word i last=0 rest=$COMP_LINE words=() given=() home=() reactor=''
    local options='%1'
    COMPREPLY=()
    # bash takes words apart at "=" and ":", which belong to them.
    for ((i = 0; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $i -gt 0 && $rest != [[:space:]]* && ($word == [=:]* || ${words[last]} == *[=:]) ]]; then
            words[last]+=$word
        else
            last=${#words[@]}
            words+=("$word")
        fi
        rest=${rest#"${rest%%[![:space:]]*}"}
        rest=${rest#"$word"}
    done
    local current=${words[last]} previous=''
    completed=$current
    [[ $last -gt 0 ]] && previous=${words[last-1]}
    for ((i = 1; i < last; i++)); do
        word=${words[i]}
        case $word in
            --home) ((i++)); home=(--home "${words[i]}") ;;
            --home=*) home=("$word") ;;
            --reactor) ((i++)); reactor=${words[i]} ;;
            %2) ((i++)) ;;
            -*) ;;
            *) if [[ -z $command ]]; then command=$word; else given+=("$word"); ((operands++)); fi ;;
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

_vornix()
{
    local completed='' start
    _vornix_complete
    [[ ${COMPREPLY[0]} == *[=/] ]] && compopt -o nospace 2>/dev/null
    [[ ${COMPREPLY[0]} == *= ]] && compopt +o filenames 2>/dev/null # which would have it quoted
    if [[ ${#COMPREPLY[@]} -gt 0 && $completed != "${COMP_WORDS[COMP_CWORD]}" ]]; then
        start=${completed%"${completed##*[=:]}"} # which bash keeps
        COMPREPLY=("${COMPREPLY[@]#"$start"}")
    fi
}

complete -o filenames -F _vornix vornix
)script"_s.arg(optionWords(commands.globalOptions()), valueOptions(commands).join(u'|'), values, names.join(u' '),
               cases);
}

// zsh can run scripts for bash. The first completion happens by running this file, so running it must complete too.
QString VXHostZshCompletion(const VXHostCommandTable &commands)
{
    return u"#compdef vornix\n"
           "(( $+functions[compdef] )) || { autoload -U +X compinit && compinit }\n"
           "autoload -U +X bashcompinit && bashcompinit\n"_s +
           VXHostBashCompletion(commands) + u"[[ -z $compstate ]] || _bash_complete -o filenames -F _vornix\n"_s;
}

// -- fish

namespace {

QString fishQuoted(QString text)
{
    return u'\'' + text.replace(u'\\', "\\\\"_L1).replace(u'\'', "\\'"_L1) + u'\'';
}

// The operand at that position after the command: true if that many words are there already, including the command.
QString fishCondition(qsizetype words, const QString &command, const QString &verb = {})
{
    return u" -n '__vornix_at %1 %2%3'"_s.arg(words).arg(command, verb.isEmpty() ? QString() : u' ' + verb);
}

QString fishWords(const QString &kind)
{
    return kind == "files"_L1     ? u" -F"_s
           : kind == "options"_L1 ? u" -a '(__vornix_options)'"_s
                                  : u" -a '(__vornix_words %1)'"_s.arg(kind);
}

QString fishOption(const VXHostOption &option, const QString &condition)
{
    QString line = u"complete -c vornix%1 -l %2 -d %3"_s.arg(condition, option.name, fishQuoted(option.summary));
    if (takesValue(option))
        line += !option.valueKind.isEmpty() ? " -x"_L1 + fishWords(option.valueKind)
                : !option.choices.isEmpty() ? " -x -a "_L1 + fishQuoted(option.choices.join(u' '))
                : option.placeholder == "DIR"_L1 || option.placeholder.contains("FILE"_L1) ? u" -r -F"_s
                                                                                           : u" -x"_s;
    return line + u'\n';
}

QString fishCommand(const VXHostCommand &command)
{
    QString text =
        u"complete -c vornix -n '__vornix_at 0' -a %1 -d %2\n"_s.arg(command.name, fishQuoted(command.summary));
    if (const QString verbs = command.verbNames().join(u' '); !verbs.isEmpty())
        text += u"complete -c vornix%1 -a %2\n"_s.arg(fishCondition(1, command.name), fishQuoted(verbs));
    const auto addOperands = [&](const QString &verb, const QStringList &kinds) {
        const qsizetype before = verb.isEmpty() ? 1 : 2; // the command, and its verb
        for (qsizetype place = 0; place < kinds.size(); ++place)
            text += u"complete -c vornix%1%2\n"_s.arg(fishCondition(before + place, command.name, verb),
                                                      fishWords(kinds[place]));
    };
    for (const VXHostVerb &verb : command.verbs)
        addOperands(verb.name, verb.operandKinds);
    addOperands({}, command.operandKinds);
    for (const VXHostOption &option : command.options) {
        QString condition = "__vornix_command "_L1 + (QStringList{command.name} + option.verbs).join(u' ');
        if (option.verbs.contains(QString()))
            condition = u"__vornix_command %1; and not __vornix_command %1 %2"_s.arg(
                command.name, verbsWithout(command, option).join(u' '));
        text += fishOption(option, u" -n '%1'"_s.arg(condition));
    }
    return text;
}

} // namespace

QString VXHostFishCompletion(const VXHostCommandTable &commands)
{
    QString text = uR"script(# fish completion for vornix

# The command and its operands, without options and their values.
function __vornix_given
    set -l isValue 0
    for word in (commandline -opc)[2..-1]
        if test $isValue = 1
            set isValue 0
        else if contains -- $word %1
            set isValue 1
        else if not string match -q -- '-*' $word
            echo $word
        end
    end
end

# COUNT COMMAND VERB: whether so many of them are there, and which.
function __vornix_at
    set -l given (__vornix_given)
    test (count $given) -eq $argv[1]; or return 1
    test (count $argv) -lt 2; or test "$given[1]" = "$argv[2]"; or return 1
    test (count $argv) -lt 3; or test "$given[2]" = "$argv[3]"
end

# COMMAND VERB...: whether it is there, with one of the verbs.
function __vornix_command
    set -l given (__vornix_given)
    test "$given[1]" = "$argv[1]"; or return 1
    test (count $argv) -lt 2; or contains -- "$given[2]" $argv[2..-1]
end

# KIND OF TYPED: what there is of it.
function __vornix_ask
    set -l home
    set -l words (commandline -opc)
    if set -l at (contains -i -- --home $words)
        set home --home $words[(math $at + 1)]
    end
    vornix $home completion words $argv 2>/dev/null
end

# KIND: perhaps of what stands before.
function __vornix_words
    set -l given (__vornix_given)
    __vornix_ask $argv[1] "$given[-1]"
end

# Those of the reactor before, or of the exporter that is the first operand.
function __vornix_options
    set -l given (__vornix_given)
    set -l of "$given[2]"
    set -l words (commandline -opc)
    for i in (seq (count $words))
        test "$words[$i]" = --reactor; and set of $words[(math $i + 1)]
    end
    __vornix_ask options "$of" (commandline -ct)
end

complete -c vornix -f
)script"_s.arg(valueOptions(commands).join(u' '));
    for (const VXHostOption &option : commands.globalOptions())
        text += fishOption(option, {});
    for (const VXHostCommand &command : commands.commands()) {
        if (!command.isHidden)
            text += fishCommand(command);
    }
    return text;
}
