#include "VXFramework.h"
#include "VXHostCommands.h"
#include "VXHostCommandTable.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginManager.h"
#include "VXWordsOfKind.h"

#include <QtCore/QJsonArray>

using namespace Qt::StringLiterals;

namespace {

int runHelp(VXHostContext &context)
{
    const QString name = context.options.operand(0);
    const VXHostCommand *command = name.isNull() ? nullptr : context.commands.find(name);
    if (command == nullptr && !name.isNull())
        return context.output.failUsage(u"unknown command \"%1\"%2"_s.arg(name, context.commands.hintFor(name)),
                                        VXHostUsage(nullptr));
    const QString text =
        command == nullptr ? VXHostOverview(context.commands) : VXHostCommandHelp(*command, context.commands);
    context.output.answer(text, text);
    return VXHostOutput::Done;
}

// Somebody waits for these after each key press.
int runWords(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    manager.findPlugins();
    const QStringList words = VXWordsOfKind(manager, options.operand(1), options.operand(2), options.operand(3));
    context.output.answer(words.isEmpty() ? QString() : words.join(u'\n') + u'\n', QJsonArray::fromStringList(words));
    manager.shutdown();
    return VXHostOutput::Done;
}

int runCompletion(VXHostContext &context)
{
    const QString shell = context.options.operand(0);
    if (shell == "words"_L1)
        return runWords(context);
    const QString script = shell == "zsh"_L1    ? VXHostZshCompletion(context.commands)
                           : shell == "fish"_L1 ? VXHostFishCompletion(context.commands)
                                                : VXHostBashCompletion(context.commands);
    context.output.answer(script, script);
    return VXHostOutput::Done;
}

int runManPage(VXHostContext &context)
{
    const QString page = VXHostManPage(context.commands, VXFrameworkVersion());
    context.output.answer(page, page);
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXHelpCommand()
{
    return {.name = u"help"_s,
            .summary = u"Show the commands, or tell more about one"_s,
            .synopsis = u"[COMMAND]"_s,
            .maximumOperands = 1,
            .run = runHelp};
}

VXHostCommand VXCompletionCommand()
{
    return {.name = u"completion"_s,
            .summary = u"Write a completion script for a shell"_s,
            .details = u"For example, in ~/.bashrc: source <(vornix completion bash)"_s,
            .verbs = {{u"bash"_s}, {u"zsh"_s}, {u"fish"_s}, {u"words"_s, u"KIND [OF] [TYPED]"_s, 1, 3}},
            .needsVerb = true,
            .run = runCompletion};
}

VXHostCommand VXManPageCommand()
{
    return {.name = u"man"_s, .summary = u"Write the man page"_s, .isHidden = true, .run = runManPage};
}
