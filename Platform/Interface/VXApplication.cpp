#include "VXApplication.h"

#include "VXDiagnostics.h"
#include "VXMainThread.h"
#include "VXTerminalUserInterface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStringList>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The arguments from the kernel, as Qt removes those it uses itself.
QStringList argumentsOfProcess()
{
    QFile file(u"/proc/self/cmdline"_s);
    if (!file.open(QIODevice::ReadOnly))
        return QCoreApplication::arguments();
    QList<QByteArray> parts = file.readAll().split('\0');
    parts.removeLast(); // empty, as the last argument ends with a zero byte, too
    QStringList arguments;
    for (const QByteArray &part : std::as_const(parts))
        arguments.append(QFile::decodeName(part));
    return arguments;
}

// Queued, so that it also ends an event loop that has not started yet.
void quitEventLoop()
{
    if (QCoreApplication *application = QCoreApplication::instance())
        QMetaObject::invokeMethod(
            application, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

} // namespace

VXApplication::VXApplication() = default;

VXApplication &VXApplication::sharedApplication()
{
    static auto *application = new VXApplication;
    return *application;
}

void VXApplication::setDidFinishLaunching(bool flag)
{
    _didFinishLaunching = flag;
    if (flag && std::exchange(_needsRelaunch, false))
        relaunchInNextRunLoop();
}

void VXApplication::relaunchInNextRunLoop()
{
    _relaunchIsDue = true;
    quitEventLoop();
}

bool VXApplication::relaunchIfDue(VXError *error, const QStringList &done)
{
    if (!std::exchange(_relaunchIsDue, false))
        return true;
    const QString program = QCoreApplication::applicationFilePath();
    QStringList arguments = argumentsOfProcess().mid(1);
    arguments.removeIf([&done](const QString &argument) { return done.contains(argument); });
    if (QProcess::startDetached(program, arguments, QDir::currentPath()))
        return true;
    VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue,
                                             u"The program could not be started again."_s, {}, program));
    return false;
}

void VXApplication::terminate()
{
    if (_awaitsReply)
        return;
    switch (_shouldTerminate ? _shouldTerminate() : VXTerminateReply::Now) {
    case VXTerminateReply::Cancel:
        break;
    case VXTerminateReply::Now:
        finishTerminating();
        break;
    case VXTerminateReply::Later:
        _awaitsReply = true;
        break;
    }
}

void VXApplication::replyToApplicationShouldTerminate(bool shouldTerminate)
{
    if (!std::exchange(_awaitsReply, false))
        return;
    if (shouldTerminate)
        finishTerminating();
    else
        setAsTerminating(false);
}

void VXApplication::setShouldTerminateHandler(ShouldTerminateHandler handler)
{
    _shouldTerminate = std::move(handler);
}

void VXApplication::finishTerminating()
{
    setAsTerminating(true);
    Q_EMIT willTerminate();
    quitEventLoop();
}

void VXApplication::presentError(const VXError &error)
{
    if (!VXMainThread::performAndWait([&] { userInterface().presentError(error); }))
        VXReportDiagnostic(4, u"Error not presented: "_s + error.description());
}

VXUserInterface &VXApplication::userInterface()
{
    if (!_userInterface)
        _userInterface = std::make_unique<VXTerminalUserInterface>(VXTerminalUserInterface::Policy::Ask);
    return *_userInterface;
}

void VXApplication::setUserInterface(std::unique_ptr<VXUserInterface> userInterface)
{
    _userInterface = std::move(userInterface);
}

VXWorkspace &VXApplication::workspace()
{
    if (!_workspace)
        _workspace = VXWorkspace::freedesktopWorkspace();
    return *_workspace;
}

void VXApplication::setWorkspace(std::unique_ptr<VXWorkspace> workspace)
{
    _workspace = std::move(workspace);
}

QVariant VXApplication::openURLString(const QString &url)
{
    activate();
    return _openURL ? _openURL(url) : QVariant();
}

void VXApplication::setOpenURLHandler(OpenURLHandler handler)
{
    _openURL = std::move(handler);
}

void VXApplication::activate()
{
    userInterface().activate();
}
