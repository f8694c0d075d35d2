#pragma once

#include "VXWebRequest.h"

#include <optional>

/**
 * A request whose answer, often a property list, is kept in memory. An answer with a status other than 200 is a
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
    /** The body as a dictionary; none, logged, when it is no property list with a dictionary. */
    std::optional<QVariantMap> plistDictionary() const;

    /** The status of the answer, including one that is a failure; 0 while there is none. */
    int statusCode() const;

    /** The largest size of an answer; a larger one fails with VXURLErrorDataTooLong. 64 MiB by default. */
    qint64 maximumLength() const;
    void setMaximumLength(qint64 bytes);

    /** Uses a connection of its own, for requests that must not be sent twice; see VXURLRequest. */
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
