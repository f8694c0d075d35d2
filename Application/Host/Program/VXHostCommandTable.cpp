#include "VXHostCommandTable.h"

#include "VXHostCommands.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// How many letters must be put in, left out or changed to turn one word into the other.
qsizetype editDistance(const QString &a, const QString &b)
{
    std::vector<qsizetype> row(static_cast<std::size_t>(b.size()) + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = static_cast<qsizetype>(j);
    for (qsizetype i = 1; i <= a.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j < row.size(); ++j) {
            const bool isSame = a[i - 1] == b[static_cast<qsizetype>(j) - 1];
            const qsizetype best = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (isSame ? 0 : 1)});
            diagonal = std::exchange(row[j], best);
        }
    }
    return row.back();
}

QList<VXHostOption> standardOptions()
{
    return {
        {u"home"_s, u"DIR"_s, u"Keep every per-user folder below DIR, which is made if needed"_s},
        {u"json"_s, {}, u"Write one JSON value to standard output, and nothing else"_s},
        {u"answer"_s,
         u"HOW"_s,
         u"How questions are answered: ask, on the terminal, unless told otherwise"_s,
         {u"default"_s, u"cancel"_s, u"ask"_s}},
        {u"safe-mode"_s, {}, u"Load built-in plugins only"_s},
        {u"verbose"_s, {}, u"Write log lines to standard error too"_s},
        {u"version"_s, {}, u"Show the version"_s},
        {u"help"_s, {}, u"Show help, of the command when one is named"_s},
    };
}

} // namespace

VXHostCommandTable::VXHostCommandTable(std::vector<VXHostCommand> commands, QList<VXHostOption> globalOptions)
    : _commands(std::move(commands)), _globalOptions(std::move(globalOptions))
{
}

const VXHostCommandTable &VXHostCommandTable::standard()
{
    static const VXHostCommandTable table(
        {VXInfoCommand(),       VXDefaultsCommand(), VXLogCommand(),       VXPropertyListCommand(),
         VXPhonebookCommand(),  VXStoreCommand(),    VXPluginsCommand(),   VXNewPluginCommand(),
         VXDevicesCommand(),    VXTriggersCommand(), VXEventsCommand(),    VXPostCommand(),
         VXHistoryCommand(),    VXReactorsCommand(), VXExportersCommand(), VXExportCommand(),
         VXPostFormCommand(),   VXOutboxCommand(),   VXOpenCommand(),      VXHotKeysCommand(),
         VXScriptingCommand(),  VXRunCommand(),      VXEvalCommand(),      VXHelpCommand(),
         VXCompletionCommand(), VXManPageCommand()},
        standardOptions());
    return table;
}

const VXHostCommand *VXHostCommandTable::find(const QString &name) const
{
    const auto found = std::ranges::find(_commands, name, &VXHostCommand::name);
    return found == _commands.end() ? nullptr : &*found;
}

QString VXHostCommandTable::nearestName(const QString &typed) const
{
    constexpr qsizetype furthest = 2;
    QString nearest;
    qsizetype distance = furthest + 1;
    for (const VXHostCommand &command : _commands) {
        if (command.isHidden)
            continue;
        const bool isBeginning = typed.size() > 1 && command.name.startsWith(typed);
        const qsizetype commandDistance = isBeginning ? 0 : editDistance(typed, command.name);
        if (commandDistance < distance && commandDistance < command.name.size()) {
            distance = commandDistance;
            nearest = command.name;
        }
    }
    return nearest;
}
