#include "VXWebRequest.h"

#include "VXActivityManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXInvocation.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXRequestThreads.h"
#include "VXRunningRequests.h"
#include "VXURLError.h"
#include "VXWebRequest+Run.h"
#include "VXWebTransfer.h"

#include <QtCore/QTimer>
#include <QtCore/QUuid>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <typeinfo>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double longestWatch = 2e6; // seconds; what a timer can hold

// The last component of the path, ignoring a trailing slash; the server if there is no path.
QString nameOf(const QUrl &url)
{
    const QStringList components = url.path(QUrl::FullyDecoded).split(u'/', Qt::SkipEmptyParts);
    return components.isEmpty() ? url.host() : components.constLast();
}

} // namespace

VXWebRequest::VXWebRequest() : _uuid(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()) {}

VXWebRequest::~VXWebRequest() = default;

// -- What it holds

float VXWebRequest::timeout() const
{
    const VXMutexLocker lock(_lock);
    return _timeout;
}

void VXWebRequest::setTimeout(float seconds)
{
    const VXMutexLocker lock(_lock);
    _timeout = seconds;
}

VXError VXWebRequest::error() const
{
    const VXMutexLocker lock(_lock);
    return _error;
}

void VXWebRequest::setError(const VXError &error)
{
    std::shared_ptr<VXWebTransfer> transfer;
    RunPtr ended;
    {
        const VXMutexLocker lock(_lock);
        _error = error;
        if (error && _run && _run->state == Run::State::Running) {
            _run->failure = error;
            transfer = _run->transfer;
            if (!_run->hasTurn) { // otherwise its thread ends it
                _run->state = Run::State::Ended;
                ended = _run;
            }
        }
    }
    if (transfer)
        transfer->stop();
    if (ended)
        VXMainThread::perform([self = shared_from_this(), ended] { self->complete(ended); });
}

QVariantMap VXWebRequest::userData() const
{
    const VXMutexLocker lock(_lock);
    return _userData;
}

void VXWebRequest::setUserData(const QVariantMap &userData)
{
    const VXMutexLocker lock(_lock);
    _userData = userData;
}

void VXWebRequest::setFormFields(const QList<VXFormField> &fields)
{
    const VXMutexLocker lock(_lock);
    _formFields = fields;
}

std::shared_ptr<QObject> VXWebRequest::delegate() const
{
    const VXMutexLocker lock(_lock);
    return _delegate ? _delegate : _toldDelegate.lock();
}

void VXWebRequest::setDelegate(const std::shared_ptr<QObject> &delegate)
{
    std::shared_ptr<QObject> previous = delegate; // destroyed after the lock is released
    {
        const VXMutexLocker lock(_lock);
        _delegate.swap(previous);
        _toldDelegate.reset();
    }
    if (!delegate)
        VXActivityManager::sharedActivityManager().removeActivityWithIdentifier(_uuid);
}

VXActivity::Ptr VXWebRequest::activity() const
{
    const VXMutexLocker lock(_lock);
    const RunPtr &run = _threadRun ? _threadRun : _run;
    return run ? run->activity : nullptr;
}

// -- The start

void VXWebRequest::requestURL(const QUrl &theURL)
{
    VXAssert(!theURL.isEmpty(), u"theURL can not be nil"_s);
    const RunPtr run = beginRun(theURL);
    if (!run)
        return;
    showActivity(theURL, run);
    startThread(theURL, run);
}

// Null when the request is being cancelled. From here on it may be cancelled at any time: it is registered as running,
// and will complete.
VXWebRequest::RunPtr VXWebRequest::beginRun(const QUrl &url)
{
    using State = Run::State;
    const VXMutexLocker lock(_lock);
    if (_run && !_run->wasStarted && _run->state < State::Telling)
        return nullptr;
    VXAssert(!_run || _run->state >= State::Telling, u"Request already running"_s);
    _run = std::make_shared<Run>();
    _error = {};
    if (!_delegate)
        _delegate = _toldDelegate.lock();
    if (!VXRunningRequests::shared().add(shared_from_this()))
        _run->failure = unableToStart(url, u"the program ends"_s);
    return _run;
}

// On the main thread, so that the completion, which removes the activity, cannot come in between.
void VXWebRequest::showActivity(const QUrl &url, const RunPtr &run)
{
    const QString title = VXLocalizedString(u"Downloading %1"_s).arg(nameOf(url));
    static_cast<void>(VXMainThread::performAndWait([&] {
        {
            const VXMutexLocker lock(_lock);
            if (run->state >= Run::State::Closing)
                return;
        }
        const VXActivity::Ptr activity = VXActivityManager::sharedActivityManager().addActivityWithTitle(title, _uuid);
        const VXMutexLocker lock(_lock);
        if (run->state >= Run::State::Closing) // an observer has cancelled it
            return;
        activity->setDelegate(this);
        run->activity = activity;
    }));
}

void VXWebRequest::startThread(const QUrl &url, const RunPtr &run)
{
    bool isRefused = false;
    {
        const VXMutexLocker lock(_lock);
        isRefused = !run->failure.isNull();
    }
    QString problem;
    bool waits = false;
    if (!isRefused)
        problem = VXRequestThreads::shared().run(
            // Weak: VXRunningRequests keeps a request alive until it has completed, and one that is cancelled before
            // its turn must not be kept alive by this.
            [held = weak_from_this(), url, run](VXRequestThreads::Lease lease) {
                Ptr self = held.lock();
                if (!self)
                    return;
                self->_requestURL(url, run);
                // Passes the reference on, so that the request is never destroyed on this thread, which waits for the
                // delegate.
                VXMainThread::perform([self = std::move(self), run, lease = std::move(lease)] { self->complete(run); });
            },
            &waits);
    if (waits)
        watchTurn(url, run);
    if (!isRefused && problem.isNull())
        return;
    end(run, unableToStart(url, problem));
    VXMainThread::perform([self = shared_from_this(), run] { self->complete(run); });
}

// With a timeout set, nobody expects a request to wait for its turn forever.
void VXWebRequest::watchTurn(const QUrl &url, const RunPtr &run)
{
    const double seconds = std::min<double>(timeout(), longestWatch);
    if (!(seconds > 0))
        return;
    const auto giveUp = [held = weak_from_this(), url, run] {
        const Ptr self = held.lock();
        if (!self)
            return;
        self->end(run,
                  VXMakeURLError(VXURLErrorTimedOut, u"Too many requests run: its turn did not come in time."_s, url),
                  true);
        self->complete(run);
    };
    VXMainThread::perform([seconds, giveUp] {
        QTimer::singleShot(std::chrono::milliseconds(static_cast<qint64>(std::ceil(seconds * 1000))), giveUp);
    });
}

VXError VXWebRequest::unableToStart(const QUrl &url, const QString &reason) const
{
    return VXMakeURLError(VXURLErrorUnknown, u"Unable to start web request"_s, url, reason);
}

// -- The end

// The first caller determines the result of the run.
void VXWebRequest::end(const RunPtr &run, const VXError &outcome, bool isForWaiting)
{
    const VXMutexLocker lock(_lock);
    if (run->state != Run::State::Running || (isForWaiting && run->hasTurn))
        return;
    run->state = Run::State::Ended;
    if (!_error)
        _error = run->failure ? run->failure : outcome;
}

void VXWebRequest::cancel(QObject *)
{
    finish(VXError(VXErrorDomain, VXErrorCancelled));
}

void VXWebRequest::requestDidComplete()
{
    finish({});
}

// Ends the last run, unless it has ended; no error means to leave its error unchanged. Returns when the delegate was
// notified.
void VXWebRequest::finish(const VXError &cancellation)
{
    using State = Run::State;
    RunPtr run;
    std::shared_ptr<VXWebTransfer> transfer;
    {
        const VXMutexLocker lock(_lock);
        if (!_run)
            _run = std::make_shared<Run>(Run{.wasStarted = false});
        run = _run;
        if (run->state == State::Running) {
            run->state = State::Ended;
            run->wasCancelled = !cancellation.isNull();
            run->failure = cancellation;
            transfer = run->transfer;
            if (cancellation)
                _error = cancellation;
        }
    }
    if (transfer)
        transfer->stop();
    // Without waiting for this call: whoever was notified already may be waiting for this thread.
    const bool isTaken = VXMainThread::perform([self = shared_from_this(), run] { self->complete(run); });
    if (!isTaken || VXMainThread::isCurrent())
        return;
    const VXMutexLocker lock(_lock);
    _runChanged.wait(_lock, [&]() VX_NO_THREAD_SAFETY_ANALYSIS { return run->state == State::Told; });
}

// On the main thread.
void VXWebRequest::complete(const RunPtr &run)
{
    using State = Run::State;
    const Ptr self = shared_from_this(); // the registry may own the last reference
    bool wasCancelled = false;
    {
        const VXMutexLocker lock(_lock);
        if (run->state != State::Ended)
            return;
        run->state = State::Closing;
        wasCancelled = run->wasCancelled;
    }
    if (wasCancelled)
        VXGuard([&] { return VXDescribeCode(u"A web request"_s, typeid(*this)); }, [this] { transferWasCancelled(); });
    VXRunningRequests::shared().remove(self);
    VXActivityManager::sharedActivityManager().removeActivityWithIdentifier(_uuid);
    std::shared_ptr<QObject> delegate;
    {
        const VXMutexLocker lock(_lock);
        run->state = State::Telling;
        run->activity.reset();
        delegate = _delegate;
    }
    tellDelegate(delegate.get());
    {
        const VXMutexLocker lock(_lock);
        run->state = State::Told;
        // not started again meanwhile, nor given another delegate
        if (_run == run && _delegate && _delegate == delegate) {
            _toldDelegate = _delegate;
            _delegate.reset(); // still owned by `delegate`
        }
    }
    _runChanged.notifyAll();
}

void VXWebRequest::tellDelegate(QObject *delegate)
{
    if (!VXInvocation::respondsTo(delegate, "requestDidComplete", 1))
        return;
    try { // an exception must not keep the request from ending
        VXInvocation::withMethod(delegate, "requestDidComplete", {QVariant::fromValue(this)}).invoke();
    } catch (...) {
        VXLogMethod(VXLogError, "requestDidComplete",
                    "The delegate of a web request threw: "_L1 + VXDescribeThrown().reason);
    }
}
