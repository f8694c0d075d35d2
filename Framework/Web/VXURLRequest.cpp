#include "VXURLRequest.h"

#include "VXMultipartBody.h"

VXURLRequest::VXURLRequest(const QUrl &url, float timeoutInterval) : _url(url), _timeoutInterval(timeoutInterval) {}

void VXURLRequest::setHeaderField(const QByteArray &name, const QByteArray &value)
{
    _headerFields.removeIf([&](const auto &field) { return field.first.compare(name, Qt::CaseInsensitive) == 0; });
    _headerFields.append({name, value});
}

void VXURLRequest::setContent(const QList<VXFormField> &fields)
{
    _body = std::make_shared<VXMultipartBody>(fields);
    setHeaderField("Content-Type", _body->contentType());
}

void VXURLRequest::setContentFromDictionary(const QVariantMap &dictionary)
{
    setContent(VXFormFieldsFromDictionary(dictionary));
}
