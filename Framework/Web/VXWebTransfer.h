#pragma once

#include "VXError.h"
#include "VXMutex.h"
#include "VXURLRequest.h"
#include "VXWebResponse.h"

#include <QtCore/QByteArrayView>

#include <atomic>

/** Who is told of a transfer's events, on the thread that performs it. An error that is returned ends the transfer. */
class VXWebTransferReceiver
{
public:
    /** Another request goes to that URL. */
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
 * One exchange with a web server over HTTP or HTTPS, redirects included. Redirects after a POST are followed with GET,
 * except those that say otherwise (307, 308); none leads from HTTPS to HTTP. `perform` belongs to one thread.
 */
class VXWebTransfer
{
public:
    /** False for URLs that are not of the web. */
    static bool canHandle(const QUrl &url);

    VXWebTransfer(VXURLRequest request, VXWebTransferReceiver &receiver);
    VXWebTransfer(const VXWebTransfer &) = delete;
    VXWebTransfer &operator=(const VXWebTransfer &) = delete;

    /** Returns when the answer is there as a whole, when that has failed, or soon after `stop`; no error for the first. What
     *  the receiver throws ends it, and is thrown here again. */
    VXError perform();

    /** Any thread: ends the transfer, or the one that is not yet performed. */
    void stop();
    bool isStopped() const { return _isStopped; }

    /** Any thread: whether the whole request has been handed to the network, so that the server may have acted on it. */
    bool didSendRequest() const { return _didSendRequest; }
    /** Any thread: where the form did not go along. */
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
