#include "VXHostHelp.h"

#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXWrappedText.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype widest = 79;
constexpr qsizetype narrowest = 30;
constexpr qsizetype leastOfRow = 20; // for what is beside a name

qsizetype textWidth()
{
    return std::clamp(VXHostOutput::widthOf(STDOUT_FILENO) - 1, narrowest, widest);
}

QString optionText(const VXHostOption &option)
{
    return "--"_L1 + option.name + (option.placeholder.isNull() ? QString() : u' ' + option.placeholder);
}

QString wrapped(const QString &text, qsizetype indent, qsizetype used)
{
    return VXWrappedText(text, textWidth(), indent, used);
}

using Rows = std::vector<std::pair<QString, QString>>;

QString alignedRows(const Rows &rows)
{
    qsizetype width = 0;
    for (const auto &[left, right] : rows)
        width = std::max(width, left.size());
    const qsizetype indent = width + 4;
    QString text;
    if (indent + leastOfRow > textWidth()) { // it goes below its name
        constexpr qsizetype below = 6;
        for (const auto &[left, right] : rows)
            text += "  "_L1 + left + u'\n' + QString(below, u' ') + wrapped(right, below, below) + u'\n';
        return text;
    }
    for (const auto &[left, right] : rows)
        text += "  "_L1 + left.leftJustified(width + 2) + wrapped(right, indent, indent) + u'\n';
    return text;
}

Rows optionRows(const QList<VXHostOption> &options)
{
    Rows rows;
    for (const VXHostOption &option : options)
        rows.emplace_back(optionText(option), VXHostOptionSummary(option));
    return rows;
}

// The usages of a command's verbs, one below the other.
QString usageLines(const QStringList &lines)
{
    constexpr qsizetype column = 14; // after "usage: vornix "
    QStringList texts;
    for (const QString &line : lines)
        texts.append("       vornix "_L1 + wrapped(line, column + 2, column));
    return "usage:"_L1 + texts.join(u'\n').sliced(6);
}

// What may follow a command's name: its operands, or one of its verbs with the verb's operands.
QString operandsText(const VXHostCommand &command)
{
    if (command.verbs.isEmpty())
        return command.synopsis;
    const QString any = command.verbNames().join(u'|');
    return (command.needsVerb ? any : u'[' + any + u']') + " [OPERAND]..."_L1;
}

} // namespace

QString VXHostOptionSummary(const VXHostOption &option)
{
    const QString verbs = option.verbs.join(u""_s).isEmpty() ? QString() : option.verbs.join(", "_L1) + ": "_L1;
    const QString choices = option.choices.isEmpty() ? QString() : " ("_L1 + option.choices.join(", "_L1) + u')';
    return verbs + option.summary + choices;
}

QStringList VXHostVerbLines(const VXHostCommand &command)
{
    QStringList lines;
    for (const VXHostVerb &verb : command.verbs) {
        const bool isStandard = lines.isEmpty() && !command.needsVerb;
        const QString words = verb.operands.isNull() ? verb.name
                              : verb.name.isEmpty()  ? verb.operands
                                                     : verb.name + u' ' + verb.operands;
        lines.append(command.name + u' ' + (isStandard ? u'[' + words + u']' : words));
    }
    return lines;
}

QString VXHostUsage(const VXHostCommand *command, const QString &verb)
{
    if (command == nullptr)
        return u"usage: vornix [OPTION]... COMMAND [ARGUMENT]...; see vornix --help"_s;
    const auto found = std::ranges::find(command->verbs, verb, &VXHostVerb::name);
    const bool isOfVerb = found != command->verbs.end();
    QStringList parts{command->name};
    if (isOfVerb)
        parts += {verb, found->operands};
    else
        parts += operandsText(*command);
    const bool isTooMuch = !isOfVerb && !command->verbs.isEmpty();
    if (isTooMuch)
        parts += u"[OPTION]...; see vornix help "_s + command->name;
    for (const VXHostOption &option : isTooMuch ? QList<VXHostOption>() : command->options) {
        if (!isOfVerb || option.verbs.isEmpty() || option.verbs.contains(verb))
            // To keep it on one line.
            parts += u'[' + QString(optionText(option)).replace(u' ', QChar(QChar::Nbsp)) + u']';
    }
    parts.removeAll(QString());
    const QString start = u"usage: vornix "_s;
    QString text = start + wrapped(parts.join(u' '), start.size(), start.size());
    return text.replace(QChar(QChar::Nbsp), QChar(u' '));
}

QString VXHostUsage(const VXHostOptions &options)
{
    const VXHostCommand *const command = options.command();
    return VXHostUsage(command, command != nullptr && command->hasNamelessVerb() ? options.verb() : options.operand(0));
}

QString VXHostOverview(const VXHostCommandTable &commands)
{
    Rows rows;
    for (const VXHostCommand &command : commands.commands()) {
        if (!command.isHidden)
            rows.emplace_back(command.name, command.summary);
    }
    return wrapped(u"vornix manages mobile phones and the personal data kept with them."_s, 0, 0) +
           u"\n\n"
           "usage: vornix [OPTION]... COMMAND [ARGUMENT]...\n\nCommands:\n"_s +
           alignedRows(rows) + u"\nOptions, before or after the command:\n"_s +
           alignedRows(optionRows(commands.globalOptions())) +
           u"\n\"vornix help COMMAND\" tells more about a command.\n"_s;
}

QString VXHostCommandHelp(const VXHostCommand &command, const VXHostCommandTable &commands)
{
    QString text = VXHostUsage(&command);
    if (const QStringList lines = VXHostVerbLines(command); !lines.isEmpty())
        text = usageLines(lines);
    text += "\n\n"_L1 + wrapped(command.summary + u'.', 0, 0) + u'\n';
    for (const QString &paragraph : command.details.split(u'\n', Qt::SkipEmptyParts))
        text += u'\n' + wrapped(paragraph, 0, 0) + u'\n';
    if (!command.options.isEmpty())
        text += "\nOptions:\n"_L1 + alignedRows(optionRows(command.options));
    return text + "\nOptions of every command:\n"_L1 + alignedRows(optionRows(commands.globalOptions()));
}
