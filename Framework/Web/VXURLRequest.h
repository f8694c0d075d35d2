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
 * A request to a web server: URL, method, header fields and form. Caches are bypassed; cookies are neither sent nor
 * stored. Copies share the form's body, which only one transfer may read at a time.
 */
class VX_EXPORT VXURLRequest
{
public:
    explicit VXURLRequest(const QUrl &url, float timeoutInterval = 30);

    QUrl url() const { return _url; }
    /** The transfer fails after so many seconds without a byte sent or received; 0 for no limit. */
    float timeoutInterval() const { return _timeoutInterval; }

    /** Replaces a field of that name. */
    void setHeaderField(const QByteArray &name, const QByteArray &value);
    const QList<std::pair<QByteArray, QByteArray>> &headerFields() const { return _headerFields; }

    /** Sets the form as the body, and its type as the field "Content-Type". */
    void setContent(const QList<VXFormField> &fields);
    /** The same with the fields of VXFormFieldsFromDictionary. */
    void setContentFromDictionary(const QVariantMap &dictionary);
    /** Null for none. */
    const std::shared_ptr<VXMultipartBody> &body() const { return _body; }

    /** Whether the request uses a new connection of its own, so that a server that closes a kept connection cannot
     *  cause it to be sent twice. */
    bool usesOwnConnection() const { return _usesOwnConnection; }
    void setUsesOwnConnection(bool flag) { _usesOwnConnection = flag; }

private:
    QUrl _url;
    float _timeoutInterval;
    QList<std::pair<QByteArray, QByteArray>> _headerFields;
    std::shared_ptr<VXMultipartBody> _body;
    bool _usesOwnConnection = false;
};
