#include "VXApplication.h"
#include "VXDesktopServices.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceURL.h"
#include "VXEventLines.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXHostCommands.h"
#include "VXHostOutput.h"
#include "VXHotKeyManager.h"
#include "VXIdleTime.h"
#include "VXMetaDataSync.h"
#include "VXModalSession.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXReactionOutcome.h"
#include "VXScriptingService.h"
#include "VXSearchUpdate.h"
#include "VXSessionIdleTime.h"
#include "VXSignalWatcher.h"

#include <QtCore/QJsonObject>

#include <algorithm>
#include <csignal>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// Serves events until the application ends. A signal asks the plugins for their consent; one more ends without it.
class Running
{
public:
    explicit Running(VXHostOutput &output) : _output(output)
    {
        QObject::connect(&_application, &VXApplication::willTerminate, &_context, [this] { _isEnding = true; });
        watchSignals();
    }

    // False when it had to be forced.
    bool untilEnded()
    {
        _session.run();
        _signals.reset(); // from here on a signal ends the process, whatever a plugin does in its last moments
        return !_isForced;
    }

private:
    void watchSignals()
    {
        const auto handleLater = [this](int) {
            QMetaObject::invokeMethod(
                &_context, [this] { handleSignal(); }, Qt::QueuedConnection);
        };
        _signals.emplace(std::initializer_list<int>{SIGINT, SIGTERM}, handleLater);
    }

    void handleSignal()
    {
        if (_isEnding)
            return;
        if (_application.isTerminating()) {
            _isForced = true;
            VXReactionOutcome::cancelAll(); // programs that reactors run end, and the history says so
            _session.stop(0);
            return;
        }
        // A plugin that hangs when it is asked does not keep the next signal from ending the process.
        _signals.reset();
        _application.terminate();
        watchSignals();
        if (_application.isTerminating() && !_isEnding)
            _output.note(u"waiting until the plugins agree to end; interrupt again to end at once"_s);
    }

    VXApplication &_application = VXApplication::sharedApplication();
    VXHostOutput &_output;
    VXModalSession _session;
    QObject _context; // what is queued goes with it
    std::optional<VXSignalWatcher> _signals;
    bool _isEnding = false; // it is certain
    bool _isForced = false;
};

// The desktop's keys and its selection. Without a desktop nothing is said unless keys are bound. `context`: while this lives, what
// becomes of the keys is told.
void connectToDesktop(VXHostOutput &output, QObject &context)
{
    VXApplication::sharedApplication().workspace().setSelectedTextSource(VXReadSelectedText);
    VXIdleTime::setSource(VXSessionIdleTime);
    VXHotKeyManager &hotKeys = VXHotKeyManager::sharedHotKeyManager();
    const QMap<QString, std::shared_ptr<VXHotKey>> all = hotKeys.hotKeys();
    const bool isBound = std::ranges::any_of(all, [](const auto &hotKey) { return hotKey->isRegistered(); });
    std::unique_ptr<VXHotKeyService> service = VXMakeHotKeyService();
    if (const QString problem = service->problem(); !problem.isNull()) {
        if (isBound)
            output.note(u"hot keys do not work: %1"_s.arg(problem));
        return;
    }
    const VXHotKeyService *const used = service.get();
    QObject::connect(used, &VXHotKeyService::problemChanged, &context, [&output, used] {
        const QString problem = used->problem();
        output.note(problem.isNull() ? u"hot keys work again"_s : u"hot keys do not work any more: %1"_s.arg(problem));
    });
    hotKeys.setService(std::move(service));
}

// Without a bus there is nobody to say it to.
void tellWhetherScriptsReach(const VXScriptingService &service, VXHostOutput &output)
{
    if (const QString problem = service.problem();
        !problem.isNull() && !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        output.note(u"scripts cannot reach this program: %1"_s.arg(problem));
}

// Two that serve the same home would run each trigger twice. Where no lock can be had, as on some file systems, there is none.
QString problemOfOther(const VXFileLock &lock)
{
    if (lock.isHeld() || lock.isImpossible())
        return {};
    return lock.isTimedOut()
               ? u"\"vornix run\" serves this home already; each event would run its triggers twice"_s
               : u"it cannot be told whether \"vornix run\" serves this home already: %1"_s.arg(lock.reason());
}

int runRun(VXHostContext &context)
{
    const QString folder = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder();
    static_cast<void>(
        VXFileManager::defaultManager().verifyPathExists(folder)); // what ails it is told by the plugins' session
    const VXFileLock lock(folder + "/.run.lock"_L1, std::chrono::milliseconds(0));
    if (const QString problem = problemOfOther(lock); !problem.isNull())
        return context.output.fail(problem);
    VXMetaDataSync::setWork(VXMetaDataWork::Passes); // also for what other commands save
    return VXRunWithPlugins(context, [&context](VXPluginManager &manager) {
        VXHostOutput &output = context.output;
        VXRemoveUnsearched();
        const QList<VXPluginProxy *> plugins = manager.allPlugins();
        const auto count = std::ranges::count_if(plugins, &VXPluginProxy::isLoaded);
        const VXEventLines eventLines(output);
        Running running(output);
        QObject listener;
        connectToDesktop(output, listener);
        VXDeviceRegistry::shared().makeKnownDevices();
        for (const VXDevicePlugin::Ptr &device : VXDeviceRegistry::shared().liveDevices())
            output.note(u"listening to %1, %2"_s.arg(device->name(), VXAbsoluteString(device->url())));
        const VXScriptingService scripting;
        tellWhetherScriptsReach(scripting, output);
        output.note(u"running, plugins loaded: %1; interrupt to end"_s.arg(count));
        if (!running.untilEnded())
            return output.fail(u"ended before every plugin agreed"_s);
        output.answer({}, QJsonObject{{u"ended"_s, true}});
        return static_cast<int>(VXHostOutput::Done);
    });
}

} // namespace

VXHostCommand VXRunCommand()
{
    return {.name = u"run"_s,
            .summary = u"Start the plugins and stay until interrupted"_s,
            .otherNames = {u"serve"_s, u"start"_s, u"daemon"_s},
            .details = u"The known devices are made, so that what they report reaches the triggers. Each event is told "
                       u"with a line, "
                       "calls and messages with the name of the contact. Ends at an "
                       u"interrupt (Ctrl-C) or SIGTERM, once the plugins agree to it. A second one ends "
                       "at once. Only one serves a home at a time; another is refused."_s,
            .run = runRun};
}
