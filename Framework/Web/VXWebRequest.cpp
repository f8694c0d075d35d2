#include "VXWebRequest.h"

#include "VXActivityManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXRequestThreads.h"
#include "VXRunningRequests.h"
#include "VXURLError.h"
#include "VXWebTransfer.h"

#include <QtCore/QUuid>

#include <exception>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The last component of the path, also of one that ends with a slash; of no path the server.
QString nameOf(const QUrl &url)
{
    const QStringList components = url.path(QUrl::FullyDecoded).split(u'/', Qt::SkipEmptyParts);
    return components.isEmpty() ? url.host() : components.constLast();
}

} // namespace

/** From a start (or the cancelling of what was never started) until the delegate has been told. */
struct VXWebRequest::Run
{
    bool isCompleting = false; // under the request's lock
};

/** What the transfer tells, for the request's own operations. */
class VXWebRequest::Receiver final : public VXWebTransferReceiver
{
public:
    explicit Receiver(VXWebRequest &request) : _request(request) {}

    void transferWillRedirect(const QUrl &from, const QUrl &to) override { _request.willRedirect(from, to); }
    VXError transferDidReceiveResponse(const VXWebResponse &response) override
    {
        return _request.didReceiveResponse(response);
    }
    VXError transferDidReceiveData(QByteArrayView bytes) override { return _request.didReceiveData(bytes); }
    void transferDidSend(qint64 sent, qint64 total) override { _request.didSend(sent, total); }

private:
    VXWebRequest &_request;
};

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
    {
        const VXMutexLocker lock(_lock);
        _error = error;
    }
    if (error)
        stopTransfer();
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
    std::shared_ptr<QObject> previous = delegate; // goes once the lock is free
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
    return _activity;
}

bool VXWebRequest::didSendRequest() const
{
    const VXMutexLocker lock(_lock);
    return _transfer ? _transfer->didSendRequest() : _didSendRequest;
}

VXFormRedirect VXWebRequest::formRedirect() const
{
    const VXMutexLocker lock(_lock);
    return _transfer ? _transfer->formRedirect() : _formRedirect;
}

// -- Running

void VXWebRequest::requestURL(const QUrl &theURL)
{
    VXAssert(!theURL.isEmpty(), u"theURL can not be nil"_s);
    const Ptr self = shared_from_this();
    const auto run = std::make_shared<Run>();
    {
        const VXMutexLocker lock(_lock);
        VXAssert(!_run || _run->isCompleting, u"Request already running"_s);
        _run = run;
        _error = {};
        _didSendRequest = false;
        _formRedirect = {};
        if (!_delegate)
            _delegate = _toldDelegate.lock();
    }
    const QString title = VXLocalizedString(u"Downloading %1"_s).arg(nameOf(theURL));
    const VXActivity::Ptr activity = VXActivityManager::sharedActivityManager().addActivityWithTitle(title, _uuid);
    activity->setDelegate(this);
    {
        const VXMutexLocker lock(_lock);
        _activity = activity;
    }
    startThread(theURL, run);
}

void VXWebRequest::startThread(const QUrl &url, const std::shared_ptr<Run> &run)
{
    QString problem = u"the program ends"_s;
    if (VXRunningRequests::shared().add(shared_from_this())) {
        problem = VXRequestThreads::shared().run(
            [self = shared_from_this(), url, run](VXRequestThreads::Lease lease) mutable {
                self->runOnThread(url, run);
                // The reference goes along, so that the request never ends on this thread, which waits for the delegate.
                VXMainThread::perform([self = std::move(self), run, lease = std::move(lease)] { self->complete(run); });
            });
        if (problem.isNull())
            return;
    }
    setError(unableToStart(url, problem));
    VXMainThread::perform([self = shared_from_this(), run] { self->complete(run); });
}

VXError VXWebRequest::unableToStart(const QUrl &url, const QString &reason) const
{
    return VXMakeURLError(VXURLErrorUnknown, u"Unable to start web request"_s, url, reason);
}

// -- On the request's thread

void VXWebRequest::runOnThread(const QUrl &url, const std::shared_ptr<Run> &run)
{
    {
        const VXMutexLocker lock(_lock);
        _leftThread.wait(_lock, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return !_isOnThread; });
        _isOnThread = true;
    }
    try {
        _requestURL(url, run);
    } catch (const VXException &exception) {
        VXLogMethod(VXLogError, "_requestURL:", exception.reason());
        setError(unableToStart(url, exception.reason()));
    }
    const VXMutexLocker lock(_lock);
    _isOnThread = false;
    _leftThread.notifyAll();
}

VXURLRequest VXWebRequest::makeRequest(const QUrl &url) const
{
    const VXMutexLocker lock(_lock);
    VXURLRequest request(url, _timeout);
    if (!_formFields.isEmpty())
        request.setContent(_formFields);
    else if (!_userData.isEmpty())
        request.setContentFromDictionary(_userData);
    return request;
}

void VXWebRequest::_requestURL(const QUrl &url, const std::shared_ptr<Run> &run)
{
    {
        const VXMutexLocker lock(_lock);
        if (run->isCompleting) // before its turn came; the data may be those of a run that began later
            return;
    }
    const bool isStarted = VXWebTransfer::canHandle(url) && _executeWithRequest(makeRequest(url));
    std::shared_ptr<VXWebTransfer> transfer;
    {
        const VXMutexLocker lock(_lock);
        if (run->isCompleting || _error)
            return; // cancelled before it began
        if (!isStarted)
            _error = unableToStart(url, {});
        transfer = _transfer;
    }
    if (isStarted && transfer)
        performTransfer(*transfer, *run);
    const VXMutexLocker lock(_lock);
    _didSendRequest = transfer && transfer->didSendRequest();
    _formRedirect = transfer ? transfer->formRedirect() : VXFormRedirect();
    _transfer.reset();
}

bool VXWebRequest::_executeWithRequest(const VXURLRequest &)
{
    VXFailAssertion(u"VXWebRequest is an abstract class.  Use one of its subclasses instead"_s);
}

bool VXWebRequest::startTransfer(const VXURLRequest &request)
{
    struct Owner
    {
        Owner(const VXURLRequest &ofRequest, VXWebRequest &told) : receiver(told), transfer(ofRequest, receiver) {}
        Receiver receiver;
        VXWebTransfer transfer;
    };
    const auto owner = std::make_shared<Owner>(request, *this);
    const VXMutexLocker lock(_lock);
    _transfer = std::shared_ptr<VXWebTransfer>(owner, &owner->transfer);
    return true;
}

void VXWebRequest::performTransfer(VXWebTransfer &transfer, const Run &run)
{
    const VXError failure = transfer.perform();
    const VXError outcome = transferDidEnd(transfer.isStopped() ? error() : failure);
    const VXMutexLocker lock(_lock);
    if (!_error && !run.isCompleting) // else it may be that of a run that began meanwhile
        _error = outcome;
}

bool VXWebRequest::isActive() const
{
    return false;
}

bool VXWebRequest::hasActiveTransfer() const
{
    const VXMutexLocker lock(_lock);
    return _transfer && !_error;
}

void VXWebRequest::willRedirect(const QUrl &, const QUrl &) {}

VXError VXWebRequest::didReceiveResponse(const VXWebResponse &)
{
    return {};
}

VXError VXWebRequest::didReceiveData(QByteArrayView)
{
    return {};
}

void VXWebRequest::didSend(qint64, qint64) {}

VXError VXWebRequest::transferDidEnd(const VXError &error)
{
    return error;
}

void VXWebRequest::transferWasCancelled() {}

// -- The end

void VXWebRequest::stopTransfer()
{
    std::shared_ptr<VXWebTransfer> transfer;
    {
        const VXMutexLocker lock(_lock);
        transfer = _transfer;
    }
    if (transfer)
        transfer->stop();
}

void VXWebRequest::cancel(QObject *)
{
    {
        const VXMutexLocker lock(_lock);
        if (_run && _run->isCompleting)
            return;
        _error = VXError(VXErrorDomain, VXErrorCancelled);
    }
    stopTransfer();
    transferWasCancelled();
    requestDidComplete();
}

void VXWebRequest::requestDidComplete()
{
    std::shared_ptr<Run> run;
    {
        const VXMutexLocker lock(_lock);
        if (!_run)
            _run = std::make_shared<Run>();
        run = _run;
    }
    static_cast<void>(VXMainThread::performAndWait([&] { complete(run); }));
}

void VXWebRequest::complete(const std::shared_ptr<Run> &run)
{
    const Ptr self = shared_from_this(); // the registry may hold the last reference
    std::shared_ptr<QObject> delegate;
    {
        const VXMutexLocker lock(_lock);
        if (std::exchange(run->isCompleting, true))
            return;
        delegate = _delegate;
        _activity.reset();
    }
    VXRunningRequests::shared().remove(self);
    VXActivityManager::sharedActivityManager().removeActivityWithIdentifier(_uuid);
    tellDelegate(delegate.get());
    {
        const VXMutexLocker lock(_lock);
        if (_run == run && _delegate) { // not started again meanwhile
            _toldDelegate = _delegate;
            _delegate.reset(); // `delegate` holds it still
        }
    }
}

void VXWebRequest::tellDelegate(QObject *delegate)
{
    if (!VXInvocation::respondsTo(delegate, "requestDidComplete", 1))
        return;
    try { // what it throws must not keep the request from ending
        VXInvocation::withMethod(delegate, "requestDidComplete", {QVariant::fromValue(this)}).invoke();
    } catch (const std::exception &exception) {
        VXLogMethod(VXLogError, "requestDidComplete",
                    "The delegate of a web request threw: "_L1 + QString::fromUtf8(exception.what()));
    }
}
