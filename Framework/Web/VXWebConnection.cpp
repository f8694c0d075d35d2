#include "VXWebConnection.h"

#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPropertyList.h"
#include "VXURLError.h"

#include <algorithm>

using namespace Qt::StringLiterals;

VXWebConnection::VXWebConnection() = default;

VXWebConnection::~VXWebConnection() = default;

VXWebConnection::Ptr VXWebConnection::requestURL(const QUrl &theURL, const QVariantMap &formData,
                                                 const std::shared_ptr<QObject> &delegate)
{
    Ptr connection = create();
    connection->setDelegate(delegate);
    connection->setUserData(formData);
    connection->requestURL(theURL);
    return connection;
}

QByteArray VXWebConnection::data() const
{
    const VXMutexLocker lock(_dataLock);
    return _connectionData;
}

int VXWebConnection::statusCode() const
{
    const VXMutexLocker lock(_dataLock);
    return _response.statusCode;
}

qint64 VXWebConnection::maximumLength() const
{
    const VXMutexLocker lock(_dataLock);
    return _maximumLength;
}

void VXWebConnection::setMaximumLength(qint64 bytes)
{
    const VXMutexLocker lock(_dataLock);
    _maximumLength = bytes;
}

void VXWebConnection::setUsesOwnConnection(bool flag)
{
    const VXMutexLocker lock(_dataLock);
    _usesOwnConnection = flag;
}

std::optional<QVariantMap> VXWebConnection::plistDictionary() const
{
    const QByteArray body = data();
    VXError error;
    const QVariant value = VXPropertyList::fromData(body, &error);
    if (error) {
        VXLogMethod(VXLogError, "plistDictionary", "error downloading URL: "_L1 + error.localizedDescription());
        return std::nullopt;
    }
    if (value.typeId() == QMetaType::QVariantMap)
        return value.toMap();
    if (value.isValid())
        VXLogMethod(VXLogError, "plistDictionary", "Invalid plist response >"_L1 + QString::fromLatin1(body) + u'<');
    return std::nullopt;
}

bool VXWebConnection::_executeWithRequest(const VXURLRequest &request)
{
    VXURLRequest own = request;
    {
        const VXMutexLocker lock(_dataLock);
        _connectionData = {};
        _response = {};
        own.setUsesOwnConnection(_usesOwnConnection);
    }
    return startTransfer(own);
}

void VXWebConnection::willRedirect(const QUrl &from, const QUrl &to)
{
    VXLogMethod(VXLogWarning, "connection:willSendRequest:redirectResponse:",
                u"Redirecting %1 to %2"_s.arg(from.toDisplayString(), to.toDisplayString()));
}

VXError VXWebConnection::tooLong(const QUrl &url) const
{
    return VXMakeURLError(VXURLErrorDataTooLong, u"The server's answer is too long."_s, url);
}

VXError VXWebConnection::didReceiveResponse(const VXWebResponse &response)
{
    {
        const VXMutexLocker lock(_dataLock);
        _response = response;
        _connectionData = QByteArray("");
        if (response.statusCode == 200 && response.expectedContentLength > _maximumLength)
            return tooLong(response.url);
    }
    if (response.statusCode == 200)
        return {};
    VXLogMethod(VXLogError, "connection:didReceiveResponse:",
                u"Invalid response from server: %1 %2"_s.arg(response.statusCode).arg(response.statusText()));
    return VXMakeURLError(VXURLErrorUnknown, u"Invalid response from server"_s, response.url, response.statusText());
}

VXError VXWebConnection::didReceiveData(QByteArrayView bytes)
{
    const VXMutexLocker lock(_dataLock);
    if (_connectionData.isNull())
        return {}; // cancelled meanwhile
    if (_connectionData.size() + bytes.size() > _maximumLength)
        return tooLong(_response.url);
    if (_connectionData.isEmpty() && _response.expectedContentLength > 0)
        _connectionData.reserve(static_cast<qsizetype>(_response.expectedContentLength));
    _connectionData.append(bytes);
    return {};
}

void VXWebConnection::didSend(qint64 bytesSent, qint64 bytesTotal)
{
    if (const VXActivity::Ptr shown = activity()) {
        shown->setDoubleValue(static_cast<double>(bytesSent));
        shown->setMaxValue(static_cast<double>(bytesTotal));
    }
}

VXError VXWebConnection::transferDidEnd(const VXError &error)
{
    if (error)
        transferWasCancelled();
    return error;
}

void VXWebConnection::transferWasCancelled()
{
    const VXMutexLocker lock(_dataLock);
    _connectionData = {};
}
