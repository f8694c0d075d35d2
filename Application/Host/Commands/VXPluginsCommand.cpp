#include "VXApplication.h"
#include "VXFileManager.h"
#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginCheck.h"
#include "VXPluginGraph.h"
#include "VXPluginManager.h"
#include "VXPluginPaths.h"
#include "VXPluginReport.h"
#include "VXPluginScanner.h"
#include "VXPluginSession.h"
#include "VXPluginSigning.h"
#include "VXPluginUpdates.h"
#include "VXTextTable.h"
#include "VXTriggerReport.h"
#include "VXUserDefaults.h"
#include "VXVersion.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr auto longestWait = 10s; // for plugins that ask for time before they are disabled

int list(VXHostContext &context, VXPluginManager &manager)
{
    QJsonArray json;
    QList<QStringList> rows{VXPluginReport::columnTitles()};
    for (const VXPluginProxy *const plugin : VXSortedPlugins(manager)) {
        const VXPluginReport report(manager, *plugin);
        json.append(report.json());
        rows.append(report.columns());
    }
    for (const VXAbsentPlugin &plugin : VXAbsentPlugins(manager)) {
        json.append(plugin.json());
        rows.append(plugin.columns());
    }
    context.output.answer(json.isEmpty() ? u"There are no plugins.\n"_s
                                         : VXFittingTable(context.output, rows, {u"VERSION"_s, u"KIND"_s, u"NAME"_s}),
                          json);
    return VXHostOutput::Done;
}

int graph(VXHostContext &context, VXPluginManager &manager)
{
    context.output.answer(VXPluginGraph(manager), VXPluginGraphJSON(manager));
    return VXHostOutput::Done;
}

int check(VXHostContext &context)
{
    const QString path = context.options.operand(1);
    QJsonArray json;
    QString text;
    bool isUsable = true;
    for (const auto &[isError, what] : VXCheckPlugin(path)) {
        isUsable = isUsable && !isError;
        text += (isError ? u"error: "_s : u"warning: "_s) + what + u'\n';
        json.append(QJsonObject{{u"isError"_s, isError}, {u"text"_s, what}});
    }
    context.output.answer(text.isEmpty() ? u"%1 is in order.\n"_s.arg(path) : text,
                          QJsonObject{{u"path"_s, path}, {u"isUsable"_s, isUsable}, {u"findings"_s, json}});
    return isUsable ? VXHostOutput::Done : VXHostOutput::Failed;
}

// What would go to the trash although nobody may expect that; null if it is an older version of the same plugin, or
// nothing.
QString whatGivesWay(const VXPluginManager &manager, const QString &path, const QVariantMap &info)
{
    const QString identifier = info.value(u"CFBundleIdentifier"_s).toString();
    const QString place = manager.pathToSharedPluginFolder() + u'/' + QFileInfo(path).fileName();
    const QString other = QFileInfo(place).isDir()
                              ? VXPluginScanner::peekAtBundleInfo(place).value(u"CFBundleIdentifier"_s).toString()
                              : QString();
    if (!other.isEmpty() && other != identifier)
        return u"Another plugin, %1, lies at %2. It would go to the trash; renaming the bundle keeps both."_s.arg(
            other, place);
    const VXPluginProxy *const known = manager.pluginWithIdentifier(identifier);
    const QString used = known != nullptr && known->isInstalled() ? known->infoText(u"CFBundleVersion"_s) : QString();
    const QString version = VXPluginScanner::versionOf(info);
    if (!used.isNull() && vx_compareVersion(used, version) > 0)
        return u"Version %1 of %2 is installed, which is newer than %3. It would go to the trash."_s.arg(
            used, identifier, version);
    return {};
}

bool agrees(const QString &question)
{
    VXAlert alert;
    alert.message = question;
    alert.defaultButton = u"Replace"_s;
    alert.alternateButton = u"Cancel"_s;
    return VXApplication::sharedApplication().userInterface().runAlert(alert).button == VXAlertButton::Default;
}

int install(VXHostContext &context, VXPluginManager &manager)
{
    const QString path = QDir::cleanPath(context.options.operand(1));
    if (const QString problem =
            QFileInfo(path).isDir() ? VXProblemOfPluginCode(path, context.options.value(u"home"_s)) : QString();
        !problem.isNull())
        return context.output.fail(u"%1 was not installed: %2"_s.arg(path, problem));
    const QVariantMap info =
        QFileInfo(path).isDir() ? VXPluginScanner::peekAtBundleInfo(path) : QVariantMap(); // before it is moved
    const QString identifier = info.value(u"CFBundleIdentifier"_s).toString();
    if (const QString what = whatGivesWay(manager, path, info); !what.isNull() && !agrees(what))
        return context.output.fail(u"nothing was installed; --answer default agrees beforehand"_s);
    VXError error;
    const VXPluginInstallResult result = manager.installBundleAtPath(path, &error);
    if (result == VXPluginInstallResult::Failed)
        return context.output.fail(
            u"%1: %2 %3"_s.arg(path, error.localizedDescription(), error.localizedRecoverySuggestion()));
    const VXPluginProxy *const plugin = manager.pluginWithIdentifier(identifier);
    const bool isInstalled = result == VXPluginInstallResult::Installed;
    QString text = isInstalled ? u"Installed %1.\n"_s : u"%1 will be installed at the next start.\n"_s;
    text = text.arg(plugin == nullptr ? identifier : VXPluginReport(manager, *plugin).title());
    const bool stays = isInstalled && QFileInfo::exists(path);
    if (stays)
        text = u"%1 stays where it is, in a folder that is searched already: %2\n"_s.arg(
            plugin == nullptr ? identifier : VXPluginReport(manager, *plugin).title(), path);
    if (isInstalled && plugin != nullptr && plugin->isBuiltInPlugin())
        text += u"It has no name, counts as built in, and cannot be disabled.\n"_s;
    else if (isInstalled && plugin != nullptr && !plugin->isEnabled())
        text += u"Enable it with: vornix plugins enable %1\n"_s.arg(identifier);
    context.output.answer(text, QJsonObject{{u"identifier"_s, identifier}, {u"waitsForNextStart"_s, !isInstalled}});
    return VXHostOutput::Done;
}

// -- Of one plugin

// A plugin that is enabled but missing can only be removed from the list.
int disableAbsent(VXHostContext &context, const VXAbsentPlugin &plugin)
{
    VXUserDefaults::standardUserDefaults().updateObject(u"plugins"_s,
                                                        [identifier = plugin.identifier](const QVariant &current) {
                                                            QStringList enabled = current.toStringList();
                                                            enabled.removeAll(identifier);
                                                            return QVariant(enabled);
                                                        });
    context.output.answer(u"Disabled %1.\n"_s.arg(plugin.identifier), plugin.json());
    return VXHostOutput::Done;
}

int unknown(VXHostContext &context, const VXPluginManager &manager, const QString &identifier)
{
    for (const VXAbsentPlugin &plugin : VXAbsentPlugins(manager)) {
        if (plugin.identifier != identifier)
            continue;
        if (context.options.operand(0) == "disable"_L1)
            return disableAbsent(context, plugin);
        return context.output.fail(
            u"%1 is not installed: %2; \"vornix plugins disable %1\" takes it off the list"_s.arg(identifier,
                                                                                                  plugin.reason));
    }
    const auto choice = manager.choiceForPlugin(identifier);
    if (!choice)
        return context.output.fail(VXProblemOfPluginName(manager.allPlugins(), identifier, u"plugin"_s) +
                                   u"; \"vornix plugins list\" shows those there are"_s);
    if (!choice->chosen.path.isNull())
        return context.output.fail(
            u"the plugin in %1 could not be added; \"vornix log\" may tell why"_s.arg(choice->chosen.path));
    const VXPluginCopy &copy = choice->passedOver.first();
    return context.output.fail(u"the plugin \"%1\" is not used: %2, version %3, is %4"_s.arg(
        identifier, copy.path, copy.version, copy.reason));
}

int info(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin)
{
    const VXPluginReport report(manager, plugin);
    QList<QStringList> rows = report.rows();
    QJsonObject json = report.json();
    json.insert(u"choice"_s, QJsonValue());
    if (const auto choice = manager.choiceForPlugin(plugin.identifier())) { // parts of a plugin are not chosen
        rows += VXPluginChoiceRows(*choice);
        json.insert(u"choice"_s, VXPluginChoiceJSON(*choice));
    }
    context.output.answer(VXTitledTable(rows), json);
    return VXHostOutput::Done;
}

int changed(VXHostContext &context, const QString &text, const VXPluginReport &report)
{
    context.output.answer(text + u'\n', report.json());
    return VXHostOutput::Done;
}

QString reasonOf(const VXPluginReport &report)
{
    return report.reason().isNull() ? u"\"vornix log\" may tell why"_s : report.reason();
}

int enable(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin)
{
    const VXPluginReport report(manager, plugin);
    if (plugin.parentProxy() != nullptr)
        return context.output.fail(
            u"%1 is part of %2 and enabled with it"_s.arg(report.title(), plugin.rootProxy()->identifier()));
    if (plugin.isEnabled() && plugin.isLoaded())
        return changed(context, u"%1 is enabled already."_s.arg(report.title()), report);
    if (plugin.isEnabled())
        return context.output.fail(u"%1 is enabled, but not loaded: %2"_s.arg(report.title(), reasonOf(report)));
    const VXApplication &application = VXApplication::sharedApplication();
    const bool wasTerminating = application.isTerminating();
    if (!manager.enablePluginProxy(&plugin))
        return context.output.fail(u"%1 was not enabled: %2"_s.arg(report.title(), reasonOf(report)));
    if (application.isTerminating() && !wasTerminating) { // no program would start with it
        manager.disablePluginProxy(&plugin);
        return context.output.fail(
            u"%1 was not enabled, as it had the program quit: %2"_s.arg(report.title(), reasonOf(report)));
    }
    const QString problem = report.reason().isNull() ? QString() : u" But it failed: %1"_s.arg(report.reason());
    return changed(context, u"Enabled %1."_s.arg(report.title()) + problem, report);
}

// The names of the plugins that are in the first list but not in the second.
QString namesWithout(const VXPluginManager &manager, const QList<VXPluginProxy *> &plugins,
                     const QList<VXPluginProxy *> &others)
{
    QStringList names;
    for (const VXPluginProxy *const plugin : plugins) {
        if (plugin->parentProxy() == nullptr && !others.contains(plugin))
            names.append(VXPluginReport(manager, *plugin).title());
    }
    names.sort();
    return names.join(", "_L1);
}

// Disables it together with the plugins that need it. Returns why not; null on success.
QString disableWithDependants(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin)
{
    manager.disablePluginProxy(&plugin);
    if (manager.awaitsUnloadReply())
        context.output.note(u"waiting until the plugins agree: %1"_s.arg(manager.pluginsAwaited().join(", "_L1)));
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(longestWait);
    while (manager.awaitsUnloadReply() && limit.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (manager.awaitsUnloadReply())
        return u"%1 did not answer in %2 seconds; --safe-mode disables it unasked"_s
            .arg(manager.pluginsAwaited().join(", "_L1))
            .arg(longestWait.count());
    return plugin.isEnabled() ? manager.lastRefusal() : QString();
}

void noteTriggers(VXHostContext &context, const QStringList &triggers)
{
    if (!triggers.isEmpty())
        context.output.note(u"Triggers that use it find it missing from now on: %1"_s.arg(triggers.join(", "_L1)));
}

int disable(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin)
{
    const VXPluginReport report(manager, plugin);
    if (plugin.parentProxy() != nullptr)
        return context.output.fail(
            u"%1 is part of %2 and disabled with it"_s.arg(report.title(), plugin.rootProxy()->identifier()));
    if (plugin.isBuiltInPlugin())
        return context.output.fail(u"%1 is built in and cannot be disabled"_s.arg(report.title()));
    if (!plugin.isEnabled())
        return changed(context, u"%1 is disabled already."_s.arg(report.title()), report);
    const QList<VXPluginProxy *> enabled = manager.enabledPlugins();
    const QStringList triggers = VXTriggersByPlugin().value(plugin.identifier());
    if (const QString problem = disableWithDependants(context, manager, plugin); !problem.isNull())
        return context.output.fail(u"%1 was not disabled: %2"_s.arg(report.title(), problem));
    noteTriggers(context, triggers);
    return changed(context, u"Disabled %1."_s.arg(namesWithout(manager, enabled, manager.enabledPlugins())), report);
}

int removePlugin(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin)
{
    const VXPluginReport report(manager, plugin);
    if (plugin.parentProxy() != nullptr)
        return context.output.fail(
            u"%1 is part of %2 and removed with it"_s.arg(report.title(), plugin.rootProxy()->identifier()));
    const QString path = plugin.isInstalled() ? plugin.bundle()->bundlePath() : QString();
    if (!VXIsInsideFolder(path, manager.pathToSharedPluginFolder()))
        return context.output.fail(u"%1 is not in the user's plugin folder, and stays: %2"_s.arg(report.title(), path));
    if (plugin.isEnabled() && !plugin.isBuiltInPlugin()) {
        if (const QString problem = disableWithDependants(context, manager, plugin); !problem.isNull())
            return context.output.fail(u"%1 was not removed: %2"_s.arg(report.title(), problem));
    }
    const QStringList triggers = VXTriggersByPlugin().value(plugin.identifier());
    QString trashed;
    if (const VXError error = VXFileManager::defaultManager().safelyTrashFileAtPath(path, &trashed))
        return context.output.fail(
            u"%1 was not removed: %2"_s.arg(report.title(), error.localizedRecoverySuggestion()));
    noteTriggers(context, triggers);
    return changed(context, u"Removed %1; it lies in the trash: %2"_s.arg(report.title(), trashed), report);
}

int retry(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin)
{
    const VXPluginReport report(manager, plugin);
    if (!plugin.isEnabled())
        return context.output.fail(
            u"%1 is not enabled; \"vornix plugins enable %2\" loads it"_s.arg(report.title(), plugin.identifier()));
    if (!manager.retryPlugin(plugin.identifier()))
        return context.output.fail(u"%1 was not loaded: %2"_s.arg(report.title(), reasonOf(report)));
    return changed(context, u"%1 is loaded."_s.arg(report.title()), report);
}

int updateAll(VXHostContext &context, VXPluginManager &manager)
{
    QList<const VXPluginProxy *> plugins = VXSortedPlugins(manager);
    plugins.removeIf([](const VXPluginProxy *plugin) { return plugin->parentProxy() != nullptr; });
    return VXRunPluginUpdates(context, plugins);
}

int update(VXHostContext &context, VXPluginManager &, VXPluginProxy &plugin)
{
    return VXRunPluginUpdates(context, {plugin.rootProxy()});
}

// -- The command

struct Verb : VXHostVerb
{
    int (*run)(VXHostContext &context, VXPluginManager &manager);                                  // without a plugin
    int (*runWithPlugin)(VXHostContext &context, VXPluginManager &manager, VXPluginProxy &plugin); // operand: its ID
    int (*runWithoutPlugins)(VXHostContext &context) = nullptr;
};

VXHostVerb ofPlugin(const QString &name)
{
    return {name, u"ID"_s, 1, 1, {u"plugins"_s}};
}

VXHostVerb ofBundle(const QString &name)
{
    return {name, u"PATH"_s, 1, 1, {u"files"_s}};
}

const Verb verbs[] = {
    {{u"list"_s}, list, nullptr},
    {ofPlugin(u"info"_s), nullptr, info},
    {{u"enable"_s, u"ID"_s, 1, 1, {u"disabled-plugins"_s}}, nullptr, enable},
    {{u"disable"_s, u"ID"_s, 1, 1, {u"enabled-plugins"_s}}, nullptr, disable},
    {ofBundle(u"install"_s), install, nullptr},
    {ofPlugin(u"remove"_s), nullptr, removePlugin},
    {ofPlugin(u"retry"_s), nullptr, retry},
    {{u"graph"_s}, graph, nullptr},
    {ofBundle(u"check"_s), nullptr, nullptr, check},
    {{u"update"_s, u"[ID]"_s, 0, 1, {u"plugins"_s}}, updateAll, update},
    {ofBundle(u"sign"_s), nullptr, nullptr, VXSignPlugin},
};

int runPlugins(VXHostContext &context)
{
    const Verb &verb = context.options.verbIn(verbs);
    const QString operand = context.options.operand(1);
    if (verb.runWithoutPlugins != nullptr)
        return verb.runWithoutPlugins(context);
    const auto run = [&](VXPluginManager &manager) {
        if (verb.run != nullptr && (verb.runWithPlugin == nullptr || operand.isEmpty()))
            return verb.run(context, manager);
        VXPluginProxy *const plugin = VXPluginNamed(manager, operand);
        return plugin == nullptr ? unknown(context, manager, operand) : verb.runWithPlugin(context, manager, *plugin);
    };
    // So that a plugin that makes the program quit can be disabled.
    return VXRunWithPlugins(context, run, VXWhenQuitting::Run);
}

} // namespace

VXHostCommand VXPluginsCommand()
{
    return {.name = u"plugins"_s,
            .summary = u"Show and change the plugins"_s,
            .details =
                u"\"list\" shows every plugin and its state, parts of a plugin below it. \"info ID\" tells all about "
                "one, also why this copy was chosen and which others were passed over. \"enable ID\" and \"disable "
                "ID\" also apply to later starts. \"install PATH\" moves a bundle into the user's plugin folder; "
                "where another copy is in use, that waits for the next start. \"remove ID\" moves it to the trash. "
                "\"retry ID\" loads a plugin that was "
                "left out because the program ended while it was loading. \"check PATH\" tells an author what is wrong "
                "with a bundle. \"graph\" writes what needs what in the "
                "language of Graphviz, for \"dot\".\n"
                "\"update\" looks for a newer version of every plugin that offers updates, or of one, checks whose "
                "it is, and installs it at the next start. \"sign PATH\" is for authors: it packs a bundle and "
                "writes the feed that offers it."_s,
            .options =
                {{.name = u"check"_s, .placeholder = {}, .summary = u"Only look for updates"_s, .verbs = {u"update"_s}},
                 {.name = u"key"_s,
                  .placeholder = u"FILE"_s,
                  .summary = u"The author's private Ed25519 key in PEM"_s,
                  .verbs = {u"sign"_s}},
                 {.name = u"url"_s,
                  .placeholder = u"URL"_s,
                  .summary = u"Where the archive will lie"_s,
                  .verbs = {u"sign"_s}},
                 {.name = u"to"_s,
                  .placeholder = u"DIR"_s,
                  .summary = u"Where to write the archive and the feed"_s,
                  .verbs = {u"sign"_s}}},
            .verbs = VXHostVerbsOf(verbs),
            .run = runPlugins};
}
