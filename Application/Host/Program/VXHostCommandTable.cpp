#include "VXHostCommandTable.h"

#include "VXHostCommands.h"
#include "VXNearestWord.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

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
        {VXInfoCommand(),         VXDefaultsCommand(),  VXLogCommand(),           VXStatusCommand(),
         VXPropertyListCommand(), VXPhonebookCommand(), VXStoreCommand(),         VXPluginsCommand(),
         VXNewPluginCommand(),    VXDevicesCommand(),   VXTriggersCommand(),      VXEventsCommand(),
         VXPostCommand(),         VXHistoryCommand(),   VXReactorsCommand(),      VXExportersCommand(),
         VXExportCommand(),       VXSyncCommand(),      VXMessagesCommand(),      VXCallsCommand(),
         VXImportCallsCommand(),  VXPostFormCommand(),  VXOutboxCommand(),        VXSearchCommand(),
         VXOpenCommand(),         VXHotKeysCommand(),   VXScriptingCommand(),     VXRunCommand(),
         VXEvalCommand(),         VXHelpCommand(),      VXSearchServiceCommand(), VXCompletionCommand(),
         VXManPageCommand()},
        standardOptions());
    return table;
}

const VXHostCommand *VXHostCommandTable::find(const QString &name) const
{
    const auto found = std::ranges::find(_commands, name, &VXHostCommand::name);
    return found == _commands.end() ? nullptr : &*found;
}

QStringList VXHostCommandTable::names() const
{
    QStringList names;
    for (const VXHostCommand &command : _commands) {
        if (!command.isHidden)
            names.append(command.name);
    }
    return names;
}

QString VXHostCommandTable::hintFor(const QString &name) const
{
    const auto isMeant = [&](const VXHostCommand &command) { return command.otherNames.contains(name); };
    const auto found = std::ranges::find_if(_commands, isMeant);
    return found == _commands.end() ? VXDidYouMean(name, names()) : u"; did you mean \"%1\"?"_s.arg(found->name);
}
