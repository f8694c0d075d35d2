#include "VXPluginSession.h"

#include "VXApplication.h"
#include "VXException.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginManager.h"

#include <QtCore/QCoreApplication>

using namespace Qt::StringLiterals;

namespace {

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

} // namespace

int VXRunWithPlugins(VXHostContext &context, const std::function<int(VXPluginManager &)> &command)
{
    VXApplication &application = VXApplication::sharedApplication();
    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    manager.setSafeMode(context.options.isSet(u"safe-mode"_s));
    application.setDidFinishLaunching(false); // a plugin that needs a relaunch gets it once all are started
    manager.startup();
    application.setDidFinishLaunching(true);
    const int status =
        application.isTerminating() // a store could not be opened, which the user was told
            ? context.output.fail(u"the program was told to quit while its plugins were loaded; of a store, "
                                  "\"vornix store check FOLDER\" tells more"_s)
            : runGuarded(context, manager, command);
    manager.shutdown();
    deleteWhatIsDeferred();
    return status;
}
