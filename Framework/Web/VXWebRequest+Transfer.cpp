#include "VXWebRequest.h"

#include "VXException.h"
#include "VXGuard.h"
#include "VXMethodLog.h"
#include "VXURLError.h"
#include "VXWebRequest+Run.h"
#include "VXWebTransfer.h"

#include <utility>

using namespace Qt::StringLiterals;

/** Passes the events of the transfer to the request's own functions. */
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

// -- On the request's thread

void VXWebRequest::_requestURL(const QUrl &url, const RunPtr &run)
{
    const auto isRunning = [&]() VX_NO_THREAD_SAFETY_ANALYSIS { return run->state == Run::State::Running; };
    {
        const VXMutexLocker lock(_lock);
        // The thread of a cancelled run may not have ended yet.
        _runChanged.wait(_lock, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return !_threadRun; });
        if (!isRunning())
            return;
        run->hasTurn = true;
        _threadRun = run;
    }
    const VXError outcome = execute(url, *run);
    std::shared_ptr<VXWebTransfer> transfer; // destroyed after the lock is released
    {
        const VXMutexLocker lock(_lock);
        _threadRun.reset();
        transfer = std::exchange(run->transfer, nullptr);
        run->didSendRequest = transfer && transfer->didSendRequest();
        run->formRedirect = transfer ? transfer->formRedirect() : VXFormRedirect();
    }
    _runChanged.notifyAll();
    end(run, outcome);
}

// The result, unless somebody stopped the run.
VXError VXWebRequest::execute(const QUrl &url, Run &run)
{
    bool isStarted = false;
    try {
        isStarted = VXWebTransfer::canHandle(url) && _executeWithRequest(makeRequest(url));
    } catch (...) {
        return unableToStart(url, faultOf(url).localizedRecoverySuggestion());
    }
    std::shared_ptr<VXWebTransfer> transfer;
    {
        const VXMutexLocker lock(_lock);
        if (run.failure)
            return run.failure;
        transfer = run.transfer;
    }
    if (!isStarted)
        return unableToStart(url, {});
    return transfer ? performTransfer(url, *transfer, run) : VXError();
}

VXError VXWebRequest::performTransfer(const QUrl &url, VXWebTransfer &transfer, const Run &run)
{
    VXError error;
    try {
        error = transfer.perform();
    } catch (...) {
        error = faultOf(url);
    }
    {
        const VXMutexLocker lock(_lock);
        if (run.failure)
            error = run.failure;
    }
    try {
        return transferDidEnd(error);
    } catch (...) {
        return faultOf(url);
    }
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
    if (_threadRun)
        _threadRun->transfer = std::shared_ptr<VXWebTransfer>(owner, &owner->transfer);
    return _threadRun != nullptr;
}

// To be called in a catch clause: subclasses may throw anything.
VXError VXWebRequest::faultOf(const QUrl &url) const
{
    const VXThrown thrown = VXDescribeThrown();
    VXLogMethod(VXLogError, "_requestURL:", thrown.description);
    return VXMakeURLError(VXURLErrorUnknown, u"A fault of the program ended the web request."_s, url, thrown.reason);
}

// -- Any thread

bool VXWebRequest::isActive() const
{
    return false;
}

bool VXWebRequest::hasActiveTransfer() const
{
    const VXMutexLocker lock(_lock);
    return _run && _run->state == Run::State::Running && _run->transfer && !_error;
}

void VXWebRequest::stopTransfer()
{
    std::shared_ptr<VXWebTransfer> transfer;
    {
        const VXMutexLocker lock(_lock);
        transfer = _run ? _run->transfer : nullptr;
    }
    if (transfer)
        transfer->stop();
}

bool VXWebRequest::didSendRequest() const
{
    const VXMutexLocker lock(_lock);
    return _run && (_run->transfer ? _run->transfer->didSendRequest() : _run->didSendRequest);
}

VXFormRedirect VXWebRequest::formRedirect() const
{
    const VXMutexLocker lock(_lock);
    if (!_run)
        return {};
    return _run->transfer ? _run->transfer->formRedirect() : _run->formRedirect;
}

// -- What subclasses do with the answer

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
