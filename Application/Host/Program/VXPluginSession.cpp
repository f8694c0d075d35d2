#include "VXPluginSession.h"

#include "VXApplication.h"
#include "VXException.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLastWords.h"
#include "VXPluginManager.h"
#include "VXUserDefaults.h"
#include "VXUserFolders.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr auto waitUntold = 1s; // for plugins that want time before the program ends
constexpr auto longestWait = 10s;

// Instances of plugins are deleted late, and what they own may be deleted later still.
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

// Before the plugins are asked or unloaded: whatever they do then, the command has had its effect and its answer.
int saveAndAnswer(VXHostOutput &output, int status)
{
    VXError error;
    if (!VXUserDefaults::standardUserDefaults().synchronize(&error))
        status = output.fail(error.localizedDescription());
    return output.finish(status);
}

// Plugins may ask for time to finish what they are at, but the command is done: none keeps the program for ever.
void askForConsent(VXHostOutput &output, VXPluginManager &manager)
{
    const VXApplication &application = VXApplication::sharedApplication();
    if (application.isTerminating() || manager.shouldShutdown() == VXUnloadNow)
        return; // asked before, or agreed
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

} // namespace

int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command,
                     VXWhenQuitting whenQuitting)
{
    // Each plugin would fail with a part of the reason.
    if (const QString problem = VXProblemOfUserFolders(); !problem.isNull())
        return context.output.fail(problem);
    VXApplication &application = VXApplication::sharedApplication();
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    const auto lastWords = std::make_unique<VXLastWords>(context.output); // a crash may write over the stack
    manager.setSafeMode(context.options.isSet(u"safe-mode"_s));
    application.setDidFinishLaunching(false); // a plugin that needs a relaunch gets it once all are started
    manager.startup();
    application.setDidFinishLaunching(true);
    for (const QString &notice : manager.startupNotices())
        context.output.note("vornix: "_L1 + notice);
    int status = application.isTerminating() && whenQuitting == VXWhenQuitting::Fail // which a plugin told the user
                     ? context.output.fail(
                           u"a plugin had the program quit while it was loaded. \"vornix plugins disable ID\" or "
                           "--safe-mode leaves it out; of a store, \"vornix store check FOLDER\" tells more"_s)
                     : runGuarded(context, manager, command);
    status = saveAndAnswer(context.output, status);
    lastWords->setStatus(status);
    askForConsent(context.output, manager);
    manager.shutdown();
    deleteWhatIsDeferred();
    return status;
}
