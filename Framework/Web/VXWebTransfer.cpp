#include "VXWebTransfer.h"

#include "VXURLError.h"
#include "VXWebHandle.h"
#include "VXWebTransfer+Exchange.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int maximumRedirects = 16;

}

bool VXWebTransfer::canHandle(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty() && (url.scheme() == "http"_L1 || url.scheme() == "https"_L1);
}

VXWebTransfer::VXWebTransfer(VXURLRequest request, VXWebTransferReceiver &receiver)
    : _request(std::move(request)), _receiver(receiver)
{
}

VXFormRedirect VXWebTransfer::formRedirect() const
{
    const VXMutexLocker lock(_lock);
    return _formRedirect;
}

void VXWebTransfer::stop()
{
    _isStopped = true;
    const VXMutexLocker lock(_lock);
    if (_wakeable != nullptr)
        VXCurl::shared().multiWakeUp(_wakeable);
}

/** During its lifetime `stop` can wake the transfer. */
class VXWebTransfer::Wakeable
{
public:
    Wakeable(VXWebTransfer &transfer, void *multi) : _transfer(transfer) { set(multi); }
    ~Wakeable() { set(nullptr); }
    Wakeable(const Wakeable &) = delete;
    Wakeable &operator=(const Wakeable &) = delete;

private:
    void set(void *multi)
    {
        const VXMutexLocker lock(_transfer._lock);
        _transfer._wakeable = multi;
    }

    VXWebTransfer &_transfer;
};

VXError VXWebTransfer::perform()
{
    VXWebHandle handle;
    QUrl url = _request.url();
    if (handle.easy() == nullptr || handle.multi() == nullptr)
        return VXMakeURLError(VXURLErrorUnknown, u"Unable to start web request"_s, url);
    const Wakeable wakeable(*this, handle.multi());
    VXError error;
    bool isPost = true;
    bool isFresh = false; // uses a new connection
    bool isInOrder = true;
    for (int redirects = 0; !_isStopped;) {
        Exchange exchange(*this, url, isPost, isFresh, handle);
        error = exchange.run(handle.multi());
        isInOrder = exchange.isInOrder();
        isFresh = true;
        if (exchange.foundEndedConnection()) {
            error = {};
            VXCurl::shared().easyReset(handle.easy());
            continue;
        }
        const QUrl next = exchange.redirectedTo();
        if (error || next.isEmpty())
            break;
        error = refusalOf(url, next, redirects);
        const bool staysPost = exchange.status() == 307 || exchange.status() == 308;
        if (isPost && !staysPost) {
            const VXMutexLocker lock(_lock);
            _formRedirect = {.status = exchange.status(), .from = url, .to = next, .wasFollowed = error.isNull()};
        }
        if (error)
            break;
        _receiver.transferWillRedirect(url, next);
        isPost = isPost && staysPost;
        if (isPost)
            _didSendRequest = false; // the server that redirected it has not accepted it
        url = next;
        ++redirects;
        VXCurl::shared().easyReset(handle.easy());
    }
    if (isInOrder)
        handle.keep();
    return error;
}

// Why a redirect is not followed; no error when it is.
VXError VXWebTransfer::refusalOf(const QUrl &url, const QUrl &next, int redirects)
{
    if (!canHandle(next) || (url.scheme() == "https"_L1 && next.scheme() != "https"_L1))
        return VXMakeURLError(VXURLErrorInsecureRedirect, u"The server leads to an address that is not safe."_s, next);
    if (redirects == maximumRedirects)
        return VXMakeURLError(VXURLErrorTooManyRedirects, u"The server leads from one address to the next."_s, url);
    return {};
}
