#pragma once

#include "VXMultipartBody.h"
#include "VXURLError.h"
#include "VXWebHandle.h"
#include "VXWebTransfer.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

/**
 * One request to one server and its answer, within a transfer that may be redirected elsewhere. On the thread of the
 * transfer.
 */
class VXWebTransfer::Exchange
{
public:
    Exchange(VXWebTransfer &transfer, const QUrl &url, bool isPost, bool isFresh, VXWebHandle &handle)
        : _transfer(transfer), _url(url), _body(isPost ? transfer._request.body() : nullptr), _easy(handle.easy()),
          _sockets(handle.sockets())
    {
        setOptions(isPost, isFresh);
    }

    VXError run(CURLM *multi);

    /** Whether the server had closed the kept connection before anything was sent. Never true for a new connection. */
    bool foundEndedConnection() const { return _foundEndedConnection; }

    /** Whether the handles can be reused. */
    bool isInOrder() const { return _isInOrder; }
    /** The redirect's target; empty when this was the final answer. */
    QUrl redirectedTo() const { return _redirectedTo; }
    int status() const { return _response.statusCode; }

private:
    using Clock = std::chrono::steady_clock;
    struct ListDeleter
    {
        void operator()(curl_slist *list) const { VXCurl::shared().listFree(list); }
    };
    using HeaderList = std::unique_ptr<curl_slist, ListDeleter>;

    // Exceptions of a receiver must not pass through libcurl.
    template <auto member>
    static size_t callback(char *bytes, size_t size, size_t count, void *self)
    {
        auto *const exchange = static_cast<Exchange *>(self);
        try {
            return (exchange->*member)(bytes, size * count);
        } catch (...) {
            exchange->_thrown = std::current_exception();
            return CURL_READFUNC_ABORT; // more than the receiving callbacks may return
        }
    }
    void setOptions(bool isPost, bool isFresh);
    void setSecurityOptions();
    VXError prepareBody();
    static int noteConnection(void *self, curl_socket_t socket, curlsocktype);
    static int allowSending(void *self, char *, char *, int port, int localPort);
    bool hasEndedBefore(int port, int localPort) const;
    void noteShortBody();
    size_t send(char *bytes, size_t maximum);
    size_t receiveHeader(char *bytes, size_t count);
    size_t receiveBody(char *bytes, size_t count);
    void readHeaderLine(QByteArrayView line);
    VXError headersDidEnd();
    VXError readLength(QByteArrayView value);
    VXError wait(CURLM *multi, CURLcode *result);
    bool isAnswerNear() const;
    void noticeSending(CURLM *multi);
    std::optional<std::chrono::duration<double>> longestSilence() const;
    bool isCutOff() const;
    VXError errorOf(CURLcode result) const;
    VXError unreadableBody() const;
    VXError error(VXURLErrorCode code, const QString &description, const QString &suggestion = {}) const
    {
        return VXMakeURLError(code, description, _url, suggestion);
    }

    const VXCurl &_curl = VXCurl::shared();
    VXWebTransfer &_transfer;
    const QUrl _url;
    const std::shared_ptr<VXMultipartBody> _body;
    CURL *const _easy;
    std::vector<curl_socket_t> &_sockets;
    bool _isConnectionNew = false;
    bool _foundEndedConnection = false;
    HeaderList _headers;
    std::array<char, CURL_ERROR_SIZE> _details{};
    VXError _refusal; // why a callback ended the exchange
    std::exception_ptr _thrown;
    Clock::time_point _lastSign = Clock::now();
    QByteArray _shortBody; // null for none
    int _sendings = 0;
    qint64 _bytesSent = 0;
    qint64 _bytesArrived = 0;
    int _bytesUnderWay = 0;
    qint64 _headerBytes = 0;
    qint64 _passedOver = 0;
    qint64 _announced = -1;
    bool _isChunked = false;
    bool _hasResponse = false;
    bool _isFinished = false; // the rest of the answer is not needed
    bool _isInOrder = false;
    VXWebResponse _response;
    QByteArray _location;
    QUrl _redirectedTo;
};
