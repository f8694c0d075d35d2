#pragma once

#include "VXWebRequest.h"

#include <optional>

/**
 * A request whose answer is kept in memory, and is often a property list. An answer with another status than 200 is a
 * failure. Any thread may call.
 */
class VX_EXPORT VXWebConnection : public VXWebRequest
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXWebConnection>;

    static Ptr create() { return std::make_shared<VXWebConnection>(); }
    /** Makes a request and starts it. */
    static Ptr requestURL(const QUrl &theURL, const QVariantMap &formData, const std::shared_ptr<QObject> &delegate);
    using VXWebRequest::requestURL;

    VXWebConnection();
    ~VXWebConnection() override;

    /** The body received so far; null before the answer and after a failure or a cancel. */
    QByteArray data() const;
    /** The body as a property list; none, with the reason in the log, when it is no dictionary. */
    std::optional<QVariantMap> plistDictionary() const;

    /** Of the answer, also of one that is a failure; 0 while there was none. */
    int statusCode() const;

    /** The most bytes that are taken; more is the failure VXURLErrorDataTooLong. At first 64 MiB. */
    qint64 maximumLength() const;
    void setMaximumLength(qint64 bytes);

    /** With a connection of its own, for what must not be sent twice; see VXURLRequest. */
    void setUsesOwnConnection(bool flag);

    bool _executeWithRequest(const VXURLRequest &request) override;
    bool isActive() const override { return hasActiveTransfer(); }

protected:
    void willRedirect(const QUrl &from, const QUrl &to) override;
    VXError didReceiveResponse(const VXWebResponse &response) override;
    VXError didReceiveData(QByteArrayView bytes) override;
    void didSend(qint64 bytesSent, qint64 bytesTotal) override;
    VXError transferDidEnd(const VXError &error) override;
    void transferWasCancelled() override;

private:
    VXError tooLong(const QUrl &url) const;

    mutable VXMutex _dataLock;
    QByteArray _connectionData VX_GUARDED_BY(_dataLock);
    VXWebResponse _response VX_GUARDED_BY(_dataLock);
    qint64 _maximumLength VX_GUARDED_BY(_dataLock) = qint64{64} << 20;
    bool _usesOwnConnection VX_GUARDED_BY(_dataLock) = false;
};
