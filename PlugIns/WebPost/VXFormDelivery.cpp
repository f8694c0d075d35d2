#include "VXFormDelivery.h"

#include "VXURLError.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

using Outcome = VXOutboxDelivery::Outcome;

const QString VXFormDelivery::kind = u"post"_s;

namespace {

// Answers that say "not now".
bool asksToTryAgain(int status)
{
    return status >= 500 || status == 408 || status == 425 || status == 429;
}

// Failures that would come again.
bool isRefusal(const VXError &error)
{
    static constexpr std::array codes{VXURLErrorUnknown, VXURLErrorTooManyRedirects, VXURLErrorInsecureRedirect,
                                      VXURLErrorCannotReadBody};
    return error.domain() == VXURLErrorDomain && std::ranges::find(codes, error.code()) != codes.end();
}

QString textOf(const VXError &error)
{
    const QString suggestion = error.localizedRecoverySuggestion();
    return suggestion.isEmpty() ? error.localizedDescription()
                                : error.localizedDescription() + " ("_L1 + suggestion + u')';
}

} // namespace

QVariantMap VXFormDelivery::payload(const QUrl &url, const QList<VXFormField> &fields, double timeout)
{
    QVariantList list;
    for (const VXFormField &field : fields) {
        QVariantMap entry{{u"name"_s, field.name}};
        if (field.filePath.isNull())
            entry.insert(u"text"_s, field.text);
        else
            entry.insert(u"file"_s, field.filePath);
        list.append(entry);
    }
    return {{u"url"_s, url.toString(QUrl::FullyEncoded)}, {u"fields"_s, list}, {u"timeout"_s, timeout}};
}

void VXFormDelivery::deliver(const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion)
{
    const QUrl url(entry.payload.value(u"url"_s).toString());
    if (url.isEmpty()) {
        completion({.outcome = Outcome::Refused, .problem = u"the entry is damaged"_s});
        return;
    }
    QList<VXFormField> fields;
    for (const QVariant &value : entry.payload.value(u"fields"_s).toList()) {
        const QVariantMap field = value.toMap();
        fields.append({.name = field.value(u"name"_s).toString(),
                       .text = field.value(u"text"_s).toString(),
                       .filePath = field.value(u"file"_s).toString()});
    }
    const auto delivery = std::make_shared<VXFormDelivery>();
    delivery->_completion = completion;
    delivery->_connection = VXWebConnection::create();
    delivery->_connection->setFormFields(fields);
    delivery->_connection->setTimeout(entry.payload.value(u"timeout"_s).toFloat());
    delivery->_connection->setUsesOwnConnection(true); // no keep-alive that the server may just be ending
    delivery->_connection->setDelegate(delivery);      // which holds it
    delivery->_connection->requestURL(url);
}

void VXFormDelivery::requestDidComplete(VXWebRequest *)
{
    const VXOutboxDelivery result = outcome();
    _connection.reset();
    std::exchange(_completion, {})(result);
}

VXOutboxDelivery VXFormDelivery::outcome() const
{
    const int status = _connection->statusCode();
    const VXError error = _connection->error();
    if (status / 100 == 2) // also when the rest of the answer did not come
        return {.outcome = Outcome::Sent};
    if (status != 0)
        return {.outcome = asksToTryAgain(status) ? Outcome::NotDelivered : Outcome::Refused,
                .problem = u"%1 %2"_s.arg(status).arg(VXWebResponse{.url = {}, .statusCode = status}.statusText())};
    if (isRefusal(error))
        return {.outcome = Outcome::Refused, .problem = textOf(error)};
    return {.outcome = _connection->didSendRequest() ? Outcome::Unknown : Outcome::NotDelivered,
            .problem = textOf(error)};
}
