#pragma once

#include "VXError.h"
#include "VXMutex.h"
#include "VXURLRequest.h"
#include "VXWebResponse.h"

#include <QtCore/QByteArrayView>

#include <atomic>

/** Receives the events of a transfer, on the thread that performs it. A returned error ends the transfer. */
class VXWebTransferReceiver
{
public:
    /** The transfer is redirected to that URL. */
    virtual void transferWillRedirect(const QUrl &from, const QUrl &to) = 0;
    /** The answer begins. */
    virtual VXError transferDidReceiveResponse(const VXWebResponse &response) = 0;
    /** The next bytes of its body. */
    virtual VXError transferDidReceiveData(QByteArrayView bytes) = 0;
    virtual void transferDidSend(qint64 bytesSent, qint64 bytesTotal) = 0;

protected:
    ~VXWebTransferReceiver() = default;
};

/**
 * One exchange with a web server over HTTP or HTTPS, including redirects. Redirects after a POST are followed with GET,
 * except for 307 and 308; redirects from HTTPS to HTTP are refused. `perform` is for one thread.
 */
class VXWebTransfer
{
public:
    /** Whether the URL is one of the web. */
    static bool canHandle(const QUrl &url);

    VXWebTransfer(VXURLRequest request, VXWebTransferReceiver &receiver);
    VXWebTransfer(const VXWebTransfer &) = delete;
    VXWebTransfer &operator=(const VXWebTransfer &) = delete;

    /** Returns when the answer is complete (no error), when it has failed, or soon after `stop`. An exception of the
     *  receiver ends the transfer, and is rethrown here. */
    VXError perform();

    /** Any thread: ends the transfer, even before it is performed. */
    void stop();
    bool isStopped() const { return _isStopped; }

    /** Any thread: whether the whole request was passed to the network, so that the server may have acted on it. */
    bool didSendRequest() const { return _didSendRequest; }
    /** Any thread: the redirect that dropped the form, if any. */
    VXFormRedirect formRedirect() const;

private:
    class Exchange; // with one server, without redirects
    class Wakeable;

    static VXError refusalOf(const QUrl &url, const QUrl &next, int redirects);

    VXURLRequest _request;
    VXWebTransferReceiver &_receiver;
    std::atomic<bool> _isStopped{false};
    std::atomic<bool> _didSendRequest{false};
    mutable VXMutex _lock;
    VXFormRedirect _formRedirect VX_GUARDED_BY(_lock);
    void *_wakeable VX_GUARDED_BY(_lock) = nullptr; // the CURLM that waits
};
