#pragma once

#include "VXFormField.h"
#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QUrl>

#include <memory>
#include <utility>

class VXMultipartBody;

/**
 * What is sent to a web server: where to, how, and with which form. Caches are passed by; cookies are neither sent nor
 * kept. Copies share the form's body, which one transfer reads at a time.
 */
class VX_EXPORT VXURLRequest
{
public:
    explicit VXURLRequest(const QUrl &url, float timeoutInterval = 30);

    QUrl url() const { return _url; }
    /** Seconds without a byte sent or received after which the transfer fails; 0 for no end. */
    float timeoutInterval() const { return _timeoutInterval; }

    /** "POST" at first. */
    QByteArray httpMethod() const { return _httpMethod; }
    void setHTTPMethod(const QByteArray &method) { _httpMethod = method; }

    /** Replaces a field of that name. */
    void setHeaderField(const QByteArray &name, const QByteArray &value);
    const QList<std::pair<QByteArray, QByteArray>> &headerFields() const { return _headerFields; }

    /** Makes the form the body, and its type the field "Content-Type". */
    void setContent(const QList<VXFormField> &fields);
    /** The same, of VXFormFieldsFromDictionary. */
    void setContentFromDictionary(const QVariantMap &dictionary);
    /** Null for none. */
    const std::shared_ptr<VXMultipartBody> &body() const { return _body; }

    /** With a connection of its own, so that no server's hanging up can have the request sent a second time. */
    bool usesOwnConnection() const { return _usesOwnConnection; }
    void setUsesOwnConnection(bool flag) { _usesOwnConnection = flag; }

private:
    QUrl _url;
    float _timeoutInterval;
    QByteArray _httpMethod{"POST"};
    QList<std::pair<QByteArray, QByteArray>> _headerFields;
    std::shared_ptr<VXMultipartBody> _body;
    bool _usesOwnConnection = false;
};
