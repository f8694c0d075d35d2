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

// Serves events until the application ends. A signal asks the plugins for their consent; a second one ends the program
// without it.
class Running
{
public:
    explicit Running(VXHostOutput &output) : _output(output)
    {
        QObject::connect(&_application, &VXApplication::willTerminate, &_context, [this] { _isEnding = true; });
        watchSignals();
    }

    // False if it had to be forced.
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
            VXReactionOutcome::cancelAll(); // ends programs that reactors run, and notes that in the history
            _session.stop(0);
            return;
        }
        // If a plugin hangs when it is asked, the next signal must still end the process.
        _signals.reset();
        _application.terminate();
        watchSignals();
        if (_application.isTerminating() && !_isEnding)
            _output.note(u"waiting until the plugins agree to end; interrupt again to end at once"_s);
    }

    VXApplication &_application = VXApplication::sharedApplication();
    VXHostOutput &_output;
    VXModalSession _session;
    QObject _context; // queued calls are dropped with it
    std::optional<VXSignalWatcher> _signals;
    bool _isEnding = false; // it is certain
    bool _isForced = false;
};

// Connects to the desktop's keys and its selection. Without a desktop, nothing is said unless keys are bound. As long
// as `context` lives, changes of the keys are reported.
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

// Without a bus there is no script that could reach it.
void tellWhetherScriptsReach(const VXScriptingService &service, VXHostOutput &output)
{
    if (const QString problem = service.problem();
        !problem.isNull() && !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        output.note(u"scripts cannot reach this program: %1"_s.arg(problem));
}

// Two programs that serve the same home folder would run each trigger twice. If no lock is available, as on some file
// systems, this is not checked.
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
        VXFileManager::defaultManager().verifyPathExists(folder)); // the plugins' session reports problems with it
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
