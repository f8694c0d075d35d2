#include "VXHost.h"

#include "VXApplication.h"
#include "VXBackgroundThread.h"
#include "VXDesktopServices.h"
#include "VXDiagnostics.h"
#include "VXErrorText.h"
#include "VXException.h"
#include "VXFileMask.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXHostCommandTable.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXInitializeInterface.h"
#include "VXLog.h"
#include "VXMetaDataState.h"
#include "VXMetaDataSync.h"
#include "VXOptionForm.h"
#include "VXPersistentStore.h"
#include "VXSleepGuard.h"
#include "VXTerminalUserInterface.h"
#include "VXUserDefaults.h"
#include "VXUserFolders.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// Timers, slots and events of plugins run in the event loop: exceptions from them are reported, and the program goes
// on.
class GuardedApplication : public QCoreApplication
{
public:
    using QCoreApplication::QCoreApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        bool isHandled = false;
        const auto who = [receiver] {
            return "an event of "_L1 + QString::fromUtf8(receiver->metaObject()->className());
        };
        VXGuard(who, [&] { isHandled = QCoreApplication::notify(receiver, event); });
        return isHandled;
    }
};

QStringList decodedArguments(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QFile::decodeName(argv[i]));
    return arguments;
}

VXTerminalUserInterface::Policy answerPolicy(const VXHostOptions &options)
{
    const QString answer = options.value(u"answer"_s);
    if (answer == "default"_L1)
        return VXTerminalUserInterface::Policy::Default;
    return answer == "cancel"_L1 ? VXTerminalUserInterface::Policy::Cancel : VXTerminalUserInterface::Policy::Ask;
}

// To be called before anything asks for a folder.
bool setHome(const VXHostOptions &options, VXHostOutput &output)
{
    const QString home = options.value(u"home"_s);
    if (home.isNull())
        return true;
    if (!QDir().mkpath(home)) {
        output.fail(u"cannot make the folder %1"_s.arg(home));
        return false;
    }
    VXSetHomeFolder(home);
    return true;
}

// If nothing can be stored in the folders, that is a reason people can do something about.
int failWithReason(VXHostContext &context, const QString &text)
{
    const QString problem = VXProblemOfUserFolders();
    return context.output.fail(problem.isNull() ? text : problem);
}

int runCommand(VXHostContext &context)
{
    try {
        if (const QString problem = VXProblemOfOptionForms(context.options); !problem.isNull())
            return context.output.failUsage(problem, VXHostUsage(context.options));
        return context.options.command()->run(context);
    } catch (const VXException &exception) {
        return failWithReason(context, exception.reason());
    }
}

// Inside the event loop, like every other event: a command may quit the loop, be relaunched, or run modal sessions.
int runInEventLoop(VXHostContext &context)
{
    int status = VXHostOutput::Failed;
    const auto run = [&] {
        status = runCommand(context);
        QCoreApplication::exit();
    };
    QMetaObject::invokeMethod(QCoreApplication::instance(), run, Qt::QueuedConnection);
    QCoreApplication::exec();
    return status;
}

int runApplication(VXHostContext &context)
{
    if (context.options.isSet(u"verbose"_s))
        VXLog::setEchoDescriptor(STDERR_FILENO);
    VXSetConsoleIsForPeople(true);
    VXInitializeFramework();
    VXInitializeInterface();
    VXRegisterDefaultsOfBundle(*VXBundle::mainBundle());
    VXMetaDataSync::setWork(VXMetaDataWork::OwnSaves); // unless the command stays
    VXScriptingTransport::setMaker([] { return VXMakeScriptingTransport(); });
    VXApplication &application = VXApplication::sharedApplication();
    application.setUserInterface(std::make_unique<VXTerminalUserInterface>(answerPolicy(context.options)));
    application.setDidFinishLaunching(true);

    int status = VXHostOutput::Failed;
    {
        const VXSleepGuard guard;
        status = runInEventLoop(context);
    }
    VXPersistentStore::closeAll(); // whoever copies a data file after the end of the program has all of it
    VXMetaDataState::noteClosedStores();
    VXError error;
    if (!VXUserDefaults::standardUserDefaults().synchronize(&error) || !application.relaunchIfDue(&error))
        status = failWithReason(context, VXErrorText(error));
    for (const QString &path : VXUserDefaults::filesSetAside())
        context.output.note(
            u"vornix: preferences were damaged, and are not in use any more; they lie in %1"_s.arg(path));
    return status;
}

// Deals with what needs no application: mistakes, --version and --help. None if there is a command to run.
std::optional<int> answerWithoutApplication(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    if (!options.error().isNull())
        return context.output.failUsage(options.error(), VXHostUsage(options));
    if (options.isSet(u"version"_s)) {
        context.output.answer("vornix "_L1 + VXFrameworkVersion() + u'\n', VXFrameworkVersion());
        return VXHostOutput::Done;
    }
    if (options.command() != nullptr && !options.isSet(u"help"_s))
        return {};
    const QString help = options.command() == nullptr ? VXHostOverview(context.commands)
                                                      : VXHostCommandHelp(*options.command(), context.commands);
    context.output.answer(help, help);
    return VXHostOutput::Done;
}

int runInApplication(int argc, char **argv, VXHostContext &context)
{
    const GuardedApplication application(argc, argv);
    return runApplication(context);
}

// A thread that ends later would access static objects that are gone: in that case the process ends without destroying
// them.
int end(VXHostOutput &output, int status)
{
    constexpr std::chrono::seconds longestWait{3};
    const bool areThreadsOver = VXBackgroundThread::awaitEnds(longestWait);
    const int result = output.finish(status);
    if (areThreadsOver)
        return result;
    std::fflush(nullptr);
    ::_exit(result);
}

// If the caller has closed a standard descriptor, the next file opened would get its number. Dummies take these numbers
// that cannot be used for what they stand for, so that reading and writing fail as they should.
void occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

} // namespace

int VXHost::run(int argc, char **argv)
{
    occupyStandardDescriptors();
    VXLetUserHaveOwnFiles();
    // A reader that went away, or a limit that was reached, is a failed write, not the end.
    for (const int each : {SIGPIPE, SIGXFSZ})
        std::signal(each, SIG_IGN);
    const VXHostCommandTable &commands = VXHostCommandTable::standard();
    const VXHostOptions options(decodedArguments(argc, argv), commands);
    // Not on the stack, which a crash may leave unusable.
    const auto ownedOutput = std::make_unique<VXHostOutput>(STDOUT_FILENO, STDERR_FILENO, options.isSet(u"json"_s));
    VXHostOutput &output = *ownedOutput;
    VXHostContext context{options, commands, output};

    if (const auto status = answerWithoutApplication(context))
        return output.finish(*status);
    if (!setHome(options, output))
        return output.finish(VXHostOutput::Failed);
    return end(output, runInApplication(argc, argv, context));
}
