#include "VXPluginSession.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXErrorText.h"
#include "VXException.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLastWords.h"
#include "VXPluginManager.h"
#include "VXSearchUpdate.h"
#include "VXUserDefaults.h"
#include "VXUserFolders.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>
#include <QtCore/QStorageInfo>
#include <QtCore/QTimer>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr auto waitUntold = 1s; // for plugins that ask for time before the program ends, before the user is told
constexpr auto longestWait = 10s;
constexpr qint64 bytesOfAStart = 1 << 20; // more than is written during a start

// Instances of plugins are deleted late, and what they own may be deleted even later.
void deleteWhatIsDeferred()
{
    for (int round = 0; round < 2; ++round)
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

int runGuarded(VXHostContext &context, VXPluginManager &manager, const std::function<int(VXPluginManager &)> &command)
{
    try {
        return command(manager);
    } catch (const VXException &exception) {
        return context.output.fail(exception.reason());
    }
}

// To be called before the plugins are asked or unloaded: whatever they do then, the command has had its effect and its
// answer.
int saveAndAnswer(VXHostOutput &output, int status)
{
    VXError error;
    if (!VXUserDefaults::standardUserDefaults().synchronize(&error))
        status = output.fail(VXErrorText(error));
    return output.finish(status);
}

// Plugins may ask for time to finish what they are doing, but since the command is done, none may keep the program
// running for ever.
void askForConsent(VXHostOutput &output, VXPluginManager &manager)
{
    const VXApplication &application = VXApplication::sharedApplication();
    if (application.isTerminating() || manager.shouldShutdown() == VXUnloadNow)
        return; // asked before, or they have agreed
    const auto awaited = [&manager] { return manager.pluginsAwaited().join(", "_L1); };
    QTimer untold;
    QTimer limit;
    untold.setSingleShot(true);
    limit.setSingleShot(true);
    QObject::connect(&untold, &QTimer::timeout, [&] {
        output.note(u"waiting until the plugins agree to end: %1; interrupt to end at once"_s.arg(awaited()));
    });
    untold.start(waitUntold);
    limit.start(longestWait);
    while (manager.awaitsUnloadReply() && limit.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (manager.awaitsUnloadReply())
        output.note(u"ending without the consent of %1, after %2 seconds"_s.arg(awaited()).arg(longestWait.count()));
    else if (!application.isTerminating())
        output.note(u"ending all the same, for the command is done: %1"_s.arg(manager.lastRefusal()));
}

// Names the plugin whose store could not be opened, and what to do about it.
QString reasonToQuit(const VXPluginManager &manager)
{
    const QList<VXPluginProxy *> plugins = manager.dataPlugins();
    const auto found = std::ranges::find_if(
        plugins, [](const VXPluginProxy *plugin) { return plugin->isLoaded() && !plugin->loadError().isNull(); });
    if (found == plugins.cend())
        return u"a plugin had the program quit while it was loaded; \"vornix log\" may tell which"_s;
    VXPluginProxy &plugin = **found;
    const QString text =
        u"the program cannot start with the plugin %1. %2 "_s.arg(plugin.identifier(), plugin.loadError());
    const QString folders = VXDataManager::sharedDataFolderPath();
    if (QStorageInfo(folders).bytesAvailable() < bytesOfAStart)
        return text + u"Free some space on the disk"_s;
    if (!plugin.isBuiltInPlugin())
        return text + u"\"vornix plugins disable %1\" leaves the plugin out"_s.arg(plugin.rootProxy()->identifier());
    return text +
           u"\"vornix store check '%1/%2.vxdatastore'\" tells more of the store; moved elsewhere, it is made anew"_s
               .arg(folders, plugin.infoText(u"VXDataStoreName"_s));
}

} // namespace

int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command,
                     VXWhenQuitting whenQuitting)
{
    // Otherwise each plugin would fail with a part of the reason. If there are data, a command that only reads shows
    // what it can.
    if (const QString problem = VXProblemOfUserFolders(); !problem.isNull()) {
        if (whenQuitting == VXWhenQuitting::Fail || !QFileInfo(VXDataManager::sharedDataFolderPath()).isDir())
            return context.output.fail(problem);
        context.output.note("vornix: "_L1 + problem);
    }
    VXApplication &application = VXApplication::sharedApplication();
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    // On the heap, because a crash may overwrite the stack.
    const auto lastWords = std::make_unique<VXLastWords>(context.output);
    manager.setSafeMode(context.options.isSet(u"safe-mode"_s));
    application.setDidFinishLaunching(false); // a plugin that needs a relaunch gets it once all are started
    manager.startup();
    application.setDidFinishLaunching(true);
    for (const QString &notice : manager.startupNotices())
        context.output.note("vornix: "_L1 + notice);
    int status = application.isTerminating() && whenQuitting == VXWhenQuitting::Fail // a plugin has told the user
                     ? context.output.fail(reasonToQuit(manager))
                     : runGuarded(context, manager, command);
    status = saveAndAnswer(context.output, status);
    lastWords->setStatus(status);
    askForConsent(context.output, manager);
    manager.shutdown();
    deleteWhatIsDeferred();
    if (!manager.loadsOnlySome()) // it would open stores
        VXStartSearchUpdateIfDue();
    return status;
}
