#include "VXTask.h"

#include "VXBackgroundThread.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXInvocation.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXProcess.h"

#include <csignal>
#include <exception>
#include <system_error>

using namespace Qt::StringLiterals;

VXTask::VXTask() = default;

VXTask::~VXTask() = default;

VXError VXTask::error() const
{
    const VXMutexLocker lock(_lock);
    return _error;
}

void VXTask::setError(const VXError &error)
{
    const VXMutexLocker lock(_lock);
    _error = error;
}

QString VXTask::destinationPath() const
{
    const VXMutexLocker lock(_lock);
    return _destinationPath;
}

void VXTask::setDestinationPath(const QString &path)
{
    const VXMutexLocker lock(_lock);
    _destinationPath = path;
}

bool VXTask::isRunning() const
{
    const VXMutexLocker lock(_lock);
    return _isRunning;
}

bool VXTask::didCancel() const
{
    const VXMutexLocker lock(_lock);
    return _didCancel;
}

void VXTask::cancel()
{
    const VXMutexLocker lock(_lock);
    _didCancel = true;
    if (_process)
        _process->terminate();
}

void VXTask::start(std::function<void()> work, std::function<void()> completion)
{
    {
        const VXMutexLocker lock(_lock);
        VXAssert(!_isRunning, u"Task already running"_s);
        _isRunning = true;
        _didCancel = false;
        _error = {};
    }
    auto run = [self = shared_from_this(), work = std::move(work), completion]() mutable {
        try {
            work();
        } catch (const std::exception &exception) {
            self->setError(VXMakeError(QString::fromUtf8(exception.what())));
        }
        // What the work owns is destroyed before the hand-over, which also takes this reference: from then on
        // everything belongs to the main thread, and a task without other owners is destroyed there.
        work = nullptr;
        handOver(std::move(self), std::move(completion));
    };
    try {
        VXBackgroundThread::start(std::move(run));
    } catch (const std::system_error &error) {
        setError(VXMakeError(QString::fromLocal8Bit(error.what())));
        handOver(shared_from_this(), completion);
    }
}

void VXTask::handOver(Ptr task, std::function<void()> completion)
{
    const std::weak_ptr<VXTask> weak = task;
    if (VXMainThread::perform([task = std::move(task), done = std::move(completion)] { task->finish(done); }))
        return;
    // The program is ending, and nobody is notified; those who ask see that it no longer runs.
    if (const Ptr left = weak.lock()) {
        const VXMutexLocker lock(left->_lock);
        left->_isRunning = false;
        if (!left->_error)
            left->_error = VXError(VXErrorDomain, VXErrorCancelled);
    }
}

void VXTask::finish(const std::function<void()> &completion)
{
    {
        // Before the completion, since the delegate may start the next work. Not earlier, since that could replace the
        // result before the delegate has seen it.
        const VXMutexLocker lock(_lock);
        _isRunning = false;
    }
    completion();
}

int VXTask::runProgram(const Run &run)
{
    const auto process = std::make_shared<VXProcess>(run.program, run.arguments, run.workingFolder);
    process->setLargestFile(run.largestFile);
    int startError = 0;
    {
        const VXMutexLocker lock(_lock); // so that cancelling finds either the flag unread or the program running
        if (_didCancel)
            return SIGTERM;
        startError = process->launch(run.output != nullptr);
        if (startError == 0)
            _process = process;
    }
    if (startError != 0) {
        VXLogMethod(VXLogError,
                    "runProgram:", u"Could not start %1: %2"_s.arg(run.program, qt_error_string(startError)));
        return couldNotStart;
    }
    const int status = process->waitUntilExit(run.output, run.maximumOutput);
    bool wasCancelled = false;
    {
        const VXMutexLocker lock(_lock);
        _process.reset();
        wasCancelled = _didCancel;
    }
    if (status != 0 && !wasCancelled) {
        const QString words = process->messages();
        VXLogMethod(VXLogError, "runProgram:",
                    u"%1 ended with %2: %3"_s.arg(run.program, QString::number(status),
                                                  words.isEmpty() ? u"it did not say why"_s : words));
    }
    return status;
}

void VXTask::tellDelegate(const QByteArray &operation, const QVariant &argument) const
{
    if (VXInvocation::respondsTo(_delegate, operation, 1))
        VXInvocation::withMethod(_delegate, operation, {argument}).invoke();
}
