#include "VXWebTransfer+Exchange.h"

#include "VXFramework.h"
#include "VXOpenSSL.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 maximumHeaderBytes = 256 * 1024;
constexpr qint64 maximumRedirectBody = 64 * 1024; // the body of a redirect is skipped
constexpr std::chrono::seconds longestRedirectBody{2};
constexpr long noConnectTimeout = 100L * 24 * 60 * 60; // seconds: no limit, as our own applies
constexpr long bufferSize = 256 * 1024;
constexpr std::chrono::microseconds watchful{60}; // a server nearby answers sooner than a sleeping thread wakes up
constexpr qint64 maximumShortBody = 8 * 1024;     // sent together with the header
constexpr std::chrono::milliseconds longestWait{1000};
constexpr double longestTimeout = 1e9; // seconds

bool isRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

struct Failure
{
    CURLcode result;
    VXURLErrorCode code;
    QString description; // a key of the framework's texts
};

Failure failureOf(CURLcode result)
{
    static const std::array failures{
        Failure{CURLE_COULDNT_RESOLVE_HOST, VXURLErrorCannotFindHost, u"The server could not be found."_s},
        Failure{CURLE_COULDNT_RESOLVE_PROXY, VXURLErrorCannotFindHost, u"The server could not be found."_s},
        Failure{CURLE_COULDNT_CONNECT, VXURLErrorCannotConnectToHost, u"Could not connect to the server."_s},
        Failure{CURLE_PEER_FAILED_VERIFICATION, VXURLErrorCertificateUntrusted,
                u"The server's certificate is not trusted."_s},
        Failure{CURLE_SSL_CACERT_BADFILE, VXURLErrorCertificateUntrusted,
                u"The server's certificate is not trusted."_s},
        Failure{CURLE_SSL_CONNECT_ERROR, VXURLErrorSecureConnectionFailed,
                u"A secure connection to the server could not be made."_s},
        Failure{CURLE_WEIRD_SERVER_REPLY, VXURLErrorBadServerResponse, u"The server's answer cannot be understood."_s},
        Failure{CURLE_UNSUPPORTED_PROTOCOL, VXURLErrorBadServerResponse,
                u"The server's answer cannot be understood."_s},
        // A header line that is longer than libcurl accepts.
        Failure{CURLE_OUT_OF_MEMORY, VXURLErrorBadServerResponse, u"The server's answer cannot be understood."_s},
    };
    const auto found = std::ranges::find(failures, result, &Failure::result);
    return found != failures.end()
               ? *found
               : Failure{result, VXURLErrorConnectionLost, u"The connection to the server was lost."_s};
}

template <class List>
void append(List &list, const QByteArray &line)
{
    if (curl_slist *const longer = VXCurl::shared().listAppend(list.get(), line.constData())) {
        static_cast<void>(list.release());
        list.reset(longer);
    }
}

bool isOverOpenSSL()
{
    static const bool isIt = [] {
        const char *const name = VXCurl::shared().versionInfo(CURLVERSION_NOW)->ssl_version;
        return name != nullptr && std::strncmp(name, "OpenSSL/", 8) == 0;
    }();
    return isIt;
}

// Returns 0 if there is none.
int portOf(int (*nameOf)(int, sockaddr *, socklen_t *), int socket)
{
    sockaddr_storage address{};
    socklen_t size = sizeof(address);
    if (nameOf(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return 0;
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in &>(address).sin_port);
    return address.ss_family == AF_INET6 ? ntohs(reinterpret_cast<const sockaddr_in6 &>(address).sin6_port) : 0;
}

// Whether the peer of a TLS connection has announced its end on this thread. libcurl does not tell a connection that
// was cut off from one that was closed.
thread_local bool isEndTold = false;

void hearAlert(int isSent, int, int type, const void *bytes, size_t count, SSL *, void *)
{
    if (isSent == 0 && type == SSL3_RT_ALERT && count == 2 &&
        static_cast<const char *>(bytes)[1] == SSL_AD_CLOSE_NOTIFY)
        isEndTold = true;
}

CURLcode listenForEnd(CURL *, void *context, void *)
{
    if (const VXOpenSSL &ssl = VXOpenSSL::shared(); ssl.isLoaded())
        ssl.setMessageCallback(static_cast<SSL_CTX *>(context), &hearAlert);
    return CURLE_OK;
}

} // namespace

void VXWebTransfer::Exchange::setOptions(bool isPost, bool isFresh)
{
    const QByteArray url = _url.toEncoded(QUrl::FullyEncoded | QUrl::RemoveFragment);
    _curl.easySetOption(_easy, CURLOPT_URL, url.constData());
    _curl.easySetOption(_easy, CURLOPT_NOSIGNAL, 1L);
    _curl.easySetOption(_easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L); // the header of a proxy is not the answer
    _curl.easySetOption(_easy, CURLOPT_ERRORBUFFER, _details.data());
    _curl.easySetOption(_easy, CURLOPT_BUFFERSIZE, bufferSize);
    _curl.easySetOption(_easy, CURLOPT_UPLOAD_BUFFERSIZE, bufferSize);
    _curl.easySetOption(_easy, CURLOPT_HEADERFUNCTION, &callback<&Exchange::receiveHeader>);
    _curl.easySetOption(_easy, CURLOPT_HEADERDATA, this);
    _curl.easySetOption(_easy, CURLOPT_WRITEFUNCTION, &callback<&Exchange::receiveBody>);
    _curl.easySetOption(_easy, CURLOPT_WRITEDATA, this);
    for (const char *const line : {"Cache-Control: no-cache", "Pragma: no-cache", "Expect:"})
        append(_headers, line);
    append(_headers, "User-Agent: Vornix/" + VXFrameworkVersion().toUtf8());
    _curl.easySetOption(_easy, CURLOPT_CONNECTTIMEOUT, noConnectTimeout);
    _curl.easySetOption(_easy, CURLOPT_SOCKOPTFUNCTION, &noteConnection);
    _curl.easySetOption(_easy, CURLOPT_SOCKOPTDATA, this);
    if (_transfer._request.usesOwnConnection()) {
        _curl.easySetOption(_easy, CURLOPT_FRESH_CONNECT, 1L);
        _curl.easySetOption(_easy, CURLOPT_FORBID_REUSE, 1L);
    }
    if (isPost) {
        for (const auto &[name, value] : _transfer._request.headerFields())
            append(_headers, name + ": " + value);
        _curl.easySetOption(_easy, CURLOPT_POST, 1L);
        _curl.easySetOption(_easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{_body ? _body->size() : 0});
        // When a server closes a kept connection, libcurl sends a request again by itself, unless its body cannot be
        // rewound; so requests without a body get a new connection. So do redirected ones, since the server may close
        // the connection after a redirect.
        if (!_body || isFresh)
            _curl.easySetOption(_easy, CURLOPT_FRESH_CONNECT, 1L);
        _curl.easySetOption(_easy, CURLOPT_PREREQFUNCTION, &allowSending);
        _curl.easySetOption(_easy, CURLOPT_PREREQDATA, this);
        _curl.easySetOption(_easy, CURLOPT_READFUNCTION, &callback<&Exchange::send>);
        _curl.easySetOption(_easy, CURLOPT_READDATA, this);
    }
    _curl.easySetOption(_easy, CURLOPT_HTTPHEADER, _headers.get());
    setSecurityOptions();
}

void VXWebTransfer::Exchange::setSecurityOptions()
{
    _curl.easySetOption(_easy, CURLOPT_PROTOCOLS_STR, "http,https");
    // the usual variable of programs that use OpenSSL
    if (const QByteArray file = qgetenv("SSL_CERT_FILE"); !file.isEmpty())
        _curl.easySetOption(_easy, CURLOPT_CAINFO, file.constData());
    if (isOverOpenSSL())
        _curl.easySetOption(_easy, CURLOPT_SSL_CTX_FUNCTION, &listenForEnd);
}

VXError VXWebTransfer::Exchange::unreadableBody() const
{
    return error(VXURLErrorCannotReadBody, u"A file of the form cannot be read."_s, _body->problem());
}

// A short body is read here, so that it is sent in one packet with the header.
VXError VXWebTransfer::Exchange::prepareBody()
{
    if (!_body)
        return {};
    if (_body->size() < 0)
        return unreadableBody();
    _body->rewind();
    if (_body->size() > maximumShortBody)
        return {};
    _shortBody = QByteArray(static_cast<qsizetype>(_body->size()), Qt::Uninitialized);
    if (_body->read(_shortBody.data(), _shortBody.size()) != _shortBody.size())
        return unreadableBody();
    _curl.easySetOption(_easy, CURLOPT_POSTFIELDS, _shortBody.constData());
    return {};
}

int VXWebTransfer::Exchange::noteConnection(void *self, curl_socket_t socket, curlsocktype)
{
    auto &exchange = *static_cast<Exchange *>(self);
    exchange._isConnectionNew = true;
    if (std::ranges::find(exchange._sockets, socket) == exchange._sockets.end())
        exchange._sockets.push_back(socket);
    return CURL_SOCKOPT_OK;
}

// Allows only one sending: libcurl would send the request again when a server closes a kept connection, but the server
// may have acted on it.
int VXWebTransfer::Exchange::allowSending(void *self, char *, char *, int port, int localPort)
{
    auto &exchange = *static_cast<Exchange *>(self);
    exchange._foundEndedConnection =
        exchange._sendings == 0 && !exchange._isConnectionNew && exchange.hasEndedBefore(port, localPort);
    return !exchange._foundEndedConnection && exchange._sendings++ == 0 ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

// Data on a kept connection before the request was sent means that it is being closed; libcurl takes TLS's closing
// message for a sign of life.
bool VXWebTransfer::Exchange::hasEndedBefore(int port, int localPort) const
{
    const auto isIt = [&](curl_socket_t socket) { // the descriptor may be another file by now
        return portOf(&::getsockname, socket) == localPort && portOf(&::getpeername, socket) == port;
    };
    const auto found = std::ranges::find_if(_sockets, isIt);
    char byte = 0;
    return found != _sockets.end() &&
           (::recv(*found, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0 || (errno != EAGAIN && errno != EINTR));
}

// A short body is not read piece by piece, so its sending is noted here.
void VXWebTransfer::Exchange::noteShortBody()
{
    if (_shortBody.isNull() || _bytesSent > 0)
        return;
    curl_off_t sent = 0;
    _curl.easyGetInfo(_easy, CURLINFO_SIZE_UPLOAD_T, &sent);
    if (sent < _shortBody.size())
        return;
    _bytesSent = sent;
    _lastSign = Clock::now();
    _transfer._didSendRequest = true;
    _transfer._receiver.transferDidSend(sent, sent);
}

size_t VXWebTransfer::Exchange::send(char *bytes, size_t maximum)
{
    if (_transfer._isStopped)
        return CURL_READFUNC_ABORT;
    _lastSign = Clock::now();
    const qint64 count = _body ? _body->read(bytes, static_cast<qint64>(maximum)) : 0;
    if (count < 0) {
        _refusal = unreadableBody();
        return CURL_READFUNC_ABORT;
    }
    _bytesSent += count;
    if (_body && _bytesSent == _body->size())
        _transfer._didSendRequest = true;
    if (_body)
        _transfer._receiver.transferDidSend(_bytesSent, _body->size());
    return static_cast<size_t>(count);
}

size_t VXWebTransfer::Exchange::receiveHeader(char *bytes, size_t count)
{
    if (_transfer._isStopped)
        return 0;
    _lastSign = Clock::now();
    _headerBytes += static_cast<qint64>(count);
    if (_headerBytes > maximumHeaderBytes)
        _refusal = error(VXURLErrorBadServerResponse, u"The server's answer cannot be understood."_s,
                         VXLocalizedString(u"Its header is too long."_s));
    else if (!_hasResponse) // otherwise it is a trailer
        readHeaderLine(QByteArrayView(bytes, static_cast<qsizetype>(count)).trimmed());
    return _refusal ? 0 : count;
}

void VXWebTransfer::Exchange::readHeaderLine(QByteArrayView line)
{
    if (line.isEmpty()) {
        _refusal = headersDidEnd();
        return;
    }
    const qsizetype colon = line.indexOf(':');
    if (line.startsWith("HTTP/")) { // another header, after a provisional one or a proxy's
        isEndTold = false;          // it may be set by a kept connection that libcurl has just closed
        _response = {.url = _url};
        _location = {};
        _announced = -1;
        _isChunked = false;
        return;
    }
    if (colon < 0)
        return;
    const QByteArray name = line.first(colon).trimmed().toByteArray().toLower();
    const QByteArray value = line.sliced(colon + 1).trimmed().toByteArray();
    if (name == "location")
        _location = value;
    else if (name == "content-disposition")
        _response.contentDisposition = value;
    else if (name == "transfer-encoding")
        _isChunked = value.toLower().contains("chunked");
    else if (name == "content-length")
        _refusal = readLength(value);
}

// If the length is no number, or there are two, it is unknown what belongs to the answer.
VXError VXWebTransfer::Exchange::readLength(QByteArrayView value)
{
    bool isNumber = false;
    const qint64 length = value.toLongLong(&isNumber);
    if (!isNumber || length < 0 || (_announced >= 0 && _announced != length))
        return error(VXURLErrorBadServerResponse, u"The server's answer cannot be understood."_s,
                     VXLocalizedString(u"It does not say how long it is."_s));
    _announced = length;
    return {};
}

VXError VXWebTransfer::Exchange::headersDidEnd()
{
    long status = 0;
    _curl.easyGetInfo(_easy, CURLINFO_RESPONSE_CODE, &status);
    if (status == 101) // what follows is not HTTP
        return error(VXURLErrorBadServerResponse, u"The server's answer cannot be understood."_s,
                     VXLocalizedString(u"It changes to another protocol, which was not asked for."_s));
    if (status < 200)
        return {};
    curl_off_t length = -1;
    _curl.easyGetInfo(_easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    _hasResponse = true;
    _response.statusCode = static_cast<int>(status);
    _transfer._didSendRequest = true;
    if (isRedirect(_response.statusCode) && !_location.isEmpty()) {
        _redirectedTo = _url.resolved(QUrl::fromEncoded(_location));
        _isFinished = length < 0 || length > maximumRedirectBody; // the body is not worth reading
        return {};
    }
    _response.expectedContentLength = length;
    return _transfer._receiver.transferDidReceiveResponse(_response);
}

size_t VXWebTransfer::Exchange::receiveBody(char *bytes, size_t count)
{
    if (_transfer._isStopped)
        return 0;
    if (_redirectedTo.isEmpty()) // a redirect's body does not extend the time
        _lastSign = Clock::now();
    const auto size = static_cast<qsizetype>(count);
    if (_redirectedTo.isEmpty())
        _refusal = _transfer._receiver.transferDidReceiveData(QByteArrayView(bytes, size));
    else if ((_passedOver += size) > maximumRedirectBody)
        return 0;
    return _refusal ? 0 : count;
}

// None: no limit.
std::optional<std::chrono::duration<double>> VXWebTransfer::Exchange::longestSilence() const
{
    const std::chrono::duration<double> timeout(
        std::min<double>(_transfer._request.timeoutInterval(), longestTimeout)); // what a clock can represent
    if (!_redirectedTo.isEmpty())
        return timeout.count() > 0 ? std::min<std::chrono::duration<double>>(timeout, longestRedirectBody)
                                   : longestRedirectBody;
    return timeout.count() > 0 ? std::optional(timeout) : std::nullopt;
}

// Data taken by libcurl and the kernel may be under way for a long time: while it is, each byte that arrives counts as
// a sign of life.
void VXWebTransfer::Exchange::noticeSending(CURLM *multi)
{
    fd_set reading;
    fd_set writing;
    fd_set others;
    FD_ZERO(&reading);
    FD_ZERO(&writing);
    FD_ZERO(&others);
    int socket = -1;
    int underWay = 0;
    curl_off_t handedOver = 0;
    _curl.multiDescriptors(multi, &reading, &writing, &others, &socket); // there is only one
    _curl.easyGetInfo(_easy, CURLINFO_SIZE_UPLOAD_T, &handedOver);
    if (socket < 0 || ::ioctl(socket, SIOCOUTQ, &underWay) != 0)
        return;
    const qint64 arrived = handedOver - underWay;
    if (arrived > _bytesArrived && std::max(underWay, _bytesUnderWay) > 0)
        _lastSign = Clock::now();
    _bytesArrived = std::max(_bytesArrived, arrived);
    _bytesUnderWay = underWay;
}

// Only once per request, and for a moment: short requests often go to a server on the same computer.
bool VXWebTransfer::Exchange::isAnswerNear() const
{
    return !_shortBody.isNull() && _bytesSent > 0 && !_hasResponse && Clock::now() - _lastSign < watchful;
}

// Waits until libcurl is done; an error when the time is over.
VXError VXWebTransfer::Exchange::wait(CURLM *multi, CURLcode *result)
{
    using std::chrono::milliseconds;
    CURLMcode state = CURLM_OK;
    while (!_transfer._isStopped && !_isFinished) {
        int running = 0;
        state = _curl.multiPerform(multi, &running);
        noteShortBody();
        int left = 0;
        if (const CURLMsg *const message = _curl.multiReadInfo(multi, &left)) {
            *result = message->data.result;
            return {};
        }
        if (isAnswerNear()) {
            std::this_thread::yield();
            continue;
        }
        milliseconds longest = longestWait;
        if (const auto silence = longestSilence()) {
            const auto rest = std::chrono::ceil<milliseconds>(*silence - (Clock::now() - _lastSign));
            if (rest.count() <= 0)
                return _redirectedTo.isEmpty() ? error(VXURLErrorTimedOut, u"The server did not answer in time."_s)
                                               : VXError();
            longest = std::min(longest, rest);
        }
        int ready = 0;
        if (state == CURLM_OK)
            state = _curl.multiPoll(multi, nullptr, 0, static_cast<int>(longest.count()), &ready);
        if (state != CURLM_OK)
            return error(VXURLErrorConnectionLost, u"The connection to the server was lost."_s,
                         QString::fromUtf8(_curl.multiError(state)));
        if (ready == 0)
            noticeSending(multi);
    }
    return {};
}

// An answer without a length ends with the connection; over TLS the end must have been announced, otherwise somebody
// may have cut it off.
bool VXWebTransfer::Exchange::isCutOff() const
{
    long version = 0;
    _curl.easyGetInfo(_easy, CURLINFO_HTTP_VERSION, &version);
    const bool endsWithConnection = _hasResponse && _announced < 0 && !_isChunked && version < CURL_HTTP_VERSION_2_0 &&
                                    _response.statusCode != 204 && _response.statusCode != 304;
    return endsWithConnection && _url.scheme() == "https"_L1 && isOverOpenSSL() && !isEndTold;
}

VXError VXWebTransfer::Exchange::errorOf(CURLcode result) const
{
    if (_refusal || _isFinished || !_redirectedTo.isEmpty()) // whatever came after a redirect
        return _refusal;
    if (result == CURLE_OK)
        return isCutOff() ? error(VXURLErrorConnectionLost, u"The connection to the server was lost."_s) : VXError();
    const Failure failure = failureOf(result);
    if (result == CURLE_SEND_FAIL_REWIND || result == CURLE_ABORTED_BY_CALLBACK)
        return error(failure.code,
                     failure.description); // a kept connection was hung up: the details are libcurl's worries
    const char *const details = _details[0] != '\0' ? _details.data() : _curl.easyError(result);
    return error(failure.code, failure.description, QString::fromUtf8(details));
}

VXError VXWebTransfer::Exchange::run(CURLM *multi)
{
    if (VXError problem = prepareBody())
        return problem;
    if (const CURLMcode state = _curl.multiAddHandle(multi, _easy); state != CURLM_OK)
        return error(VXURLErrorUnknown, u"Unable to start web request"_s, QString::fromUtf8(_curl.multiError(state)));
    isEndTold = false;
    CURLcode result = CURLE_OK;
    VXError timeout;
    try {
        timeout = wait(multi, &result);
    } catch (...) {
        _thrown = std::current_exception();
    }
    _isInOrder = _curl.multiRemoveHandle(multi, _easy) == CURLM_OK;
    if (_thrown)
        std::rethrow_exception(_thrown);
    long requestBytes = 0;
    _curl.easyGetInfo(_easy, CURLINFO_REQUEST_SIZE, &requestBytes);
    if (!_body && requestBytes > 0)
        _transfer._didSendRequest = true;
    return timeout ? timeout : errorOf(result);
}
