#include "VXFormDelivery.h"

#include "VXURLError.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

using Outcome = VXOutboxDelivery::Outcome;

const QString VXFormDelivery::kind = u"post"_s;

namespace {

constexpr double longestLook = 24.0 * 60 * 60; // seconds
// Number of time-outs that a sent form is waited for, whatever the server says meanwhile.
constexpr int patientLooks = 10;
const QString givenUp = u"The program ended while it was being sent."_s;
const QString tooSlow = u"The server did not come to an end with its answer."_s;

// Answers that say "not now" or "not here", for example from a proxy that wants credentials first, or a gateway that
// cannot find the server. A gateway whose server received the form but does not answer in time says nothing certain.
Outcome outcomeOfStatus(int status)
{
    if (status / 100 == 2) // even if the rest of the answer did not arrive
        return Outcome::Sent;
    if (status == 504)
        return Outcome::Unknown;
    const bool isLater = status >= 500 || status == 407 || status == 408 || status == 425 || status == 429;
    return isLater ? Outcome::NotDelivered : Outcome::Refused;
}

// Failures that would happen again.
bool isRefusal(const VXError &error)
{
    static constexpr std::array codes{VXURLErrorTooManyRedirects, VXURLErrorInsecureRedirect, VXURLErrorCannotReadBody};
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

VXOutboxRunner::Cancel VXFormDelivery::deliver(const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion)
{
    const QUrl url(entry.payload.value(u"url"_s).toString());
    if (url.host().isEmpty() || (url.scheme() != "http"_L1 && url.scheme() != "https"_L1)) {
        completion({.outcome = Outcome::Refused, .problem = u"the entry is damaged"_s});
        return {};
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
    delivery->start(url, fields, entry.payload.value(u"timeout"_s).toDouble());
    return [held = std::weak_ptr(delivery)] {
        if (const auto running = held.lock())
            running->giveUp(givenUp);
    };
}

void VXFormDelivery::start(const QUrl &url, const QList<VXFormField> &fields, double timeout)
{
    _connection = VXWebConnection::create();
    _connection->setFormFields(fields);
    _connection->setTimeout(static_cast<float>(timeout));
    _connection->setUsesOwnConnection(true);      // no keep-alive connection that the server may be closing just now
    _connection->setDelegate(shared_from_this()); // it keeps this object alive
    connect(&_watch, &QTimer::timeout, this, &VXFormDelivery::look);
    if (timeout > 0)
        _watch.start(static_cast<int>(std::min(timeout, longestLook) * 1000));
    _connection->requestURL(url);
}

// A server that continues its answer byte by byte is not waited for: the status says everything that matters.
void VXFormDelivery::look()
{
    const bool wasAnswered = std::exchange(_isAnswered, _connection->statusCode() != 0);
    _looksSinceSent += _connection->didSendRequest() ? 1 : 0;
    if (wasAnswered || _looksSinceSent > patientLooks)
        giveUp(tooSlow);
}

void VXFormDelivery::giveUp(const QString &reason)
{
    if (!_connection)
        return;
    _reason = reason;
    _connection->cancel(); // calls us back
}

void VXFormDelivery::requestDidComplete(VXWebRequest *)
{
    _watch.stop();
    const VXOutboxDelivery result = outcome();
    _connection.reset();
    std::exchange(_completion, {})(result);
}

VXOutboxDelivery VXFormDelivery::outcome() const
{
    const int status = _connection->statusCode();
    const VXError error = _connection->error();
    if (const VXFormRedirect redirect = _connection->formRedirect(); redirect.status != 0)
        return outcomeOfRedirect(redirect, status);
    if (status != 0) {
        const Outcome outcome = outcomeOfStatus(status);
        const QString text = u"%1 %2"_s.arg(status).arg(VXWebResponse{.url = {}, .statusCode = status}.statusText());
        return {.outcome = outcome, .problem = outcome == Outcome::Sent ? QString() : text};
    }
    if (isRefusal(error))
        return {.outcome = Outcome::Refused, .problem = textOf(error)};
    return {.outcome = _connection->didSendRequest() ? Outcome::Unknown : Outcome::NotDelivered,
            .problem = _reason.isNull() ? textOf(error) : _reason};
}

// The form was not sent along. "See other" says that it was accepted; "moved" says that it was not.
VXOutboxDelivery VXFormDelivery::outcomeOfRedirect(const VXFormRedirect &redirect, int status)
{
    constexpr auto place = QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::StripTrailingSlash;
    if (redirect.status == 303)
        return {.outcome = Outcome::Sent};
    if (redirect.status == 301 || redirect.from.adjusted(place) == redirect.to.adjusted(place))
        return {.outcome = Outcome::Refused,
                .problem = u"the server has moved to %1: post to that address"_s.arg(redirect.to.toDisplayString())};
    if (status / 100 == 2)
        return {.outcome = Outcome::Sent};
    return {.outcome = Outcome::Unknown,
            .problem = u"the server led to %1, which failed"_s.arg(redirect.to.toDisplayString())};
}
