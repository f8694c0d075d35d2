#include "VXHostHelp.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype textWidth = 79;

QString optionText(const VXHostOption &option)
{
    return "--"_L1 + option.name + (option.placeholder.isNull() ? QString() : u' ' + option.placeholder);
}

// Words put on lines of at most textWidth, all but the first line indented.
QString wrapped(const QString &text, qsizetype indent, qsizetype used)
{
    QString result;
    qsizetype column = used;
    for (const QString &word : text.split(u' ', Qt::SkipEmptyParts)) {
        if (column > indent && column + 1 + word.size() > textWidth) {
            result += u'\n' + QString(indent, u' ');
            column = indent;
        } else if (column > indent) {
            result += u' ';
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

using Rows = std::vector<std::pair<QString, QString>>;

QString alignedRows(const Rows &rows)
{
    qsizetype width = 0;
    for (const auto &[left, right] : rows)
        width = std::max(width, left.size());
    const qsizetype indent = width + 4;
    QString text;
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

} // namespace

QString VXHostOptionSummary(const VXHostOption &option)
{
    const QString verbs = option.verbs.isEmpty() ? QString() : option.verbs.join(", "_L1) + ": "_L1;
    const QString choices = option.choices.isEmpty() ? QString() : " ("_L1 + option.choices.join(", "_L1) + u')';
    return verbs + option.summary + choices;
}

QString VXHostUsage(const VXHostCommand *command)
{
    if (command == nullptr)
        return u"usage: vornix [OPTION]... COMMAND [ARGUMENT]...; see vornix --help"_s;
    QString text = "usage: vornix "_L1 + command->name;
    if (!command->synopsis.isNull())
        text += u' ' + command->synopsis;
    for (const VXHostOption &option : command->options)
        text += " ["_L1 + optionText(option) + u']';
    return text;
}

QString VXHostOverview(const VXHostCommandTable &commands)
{
    Rows rows;
    for (const VXHostCommand &command : commands.commands()) {
        if (!command.isHidden)
            rows.emplace_back(command.name, command.summary);
    }
    return u"vornix manages mobile phones and the personal data kept with them.\n\n"
           "usage: vornix [OPTION]... COMMAND [ARGUMENT]...\n\nCommands:\n"_s +
           alignedRows(rows) + u"\nOptions, before or after the command:\n"_s +
           alignedRows(optionRows(commands.globalOptions())) +
           u"\n\"vornix help COMMAND\" tells more about a command.\n"_s;
}

QString VXHostCommandHelp(const VXHostCommand &command, const VXHostCommandTable &commands)
{
    QString text = VXHostUsage(&command) + "\n\n"_L1 + command.summary + ".\n"_L1;
    for (const QString &paragraph : command.details.split(u'\n', Qt::SkipEmptyParts))
        text += u'\n' + wrapped(paragraph, 0, 0) + u'\n';
    if (!command.options.isEmpty())
        text += "\nOptions:\n"_L1 + alignedRows(optionRows(command.options));
    return text + "\nOptions of every command:\n"_L1 + alignedRows(optionRows(commands.globalOptions()));
}
