#include "VXGammuCallTracker.h"

#include "VXGammuText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longestPause = 13; // seconds between two rings; networks send one every five

} // namespace

VXGammuCallTracker::VXGammuCallTracker(Listener listener, std::function<QDateTime()> now)
    : _listener(std::move(listener)), _now(std::move(now))
{
}

void VXGammuCallTracker::didReport(const GSM_Call &call)
{
    const QString number = VXTextFromGammu(call.PhoneNumber);
    switch (call.Status) {
    case GSM_CALL_IncomingCall:
        return begin(true, number);
    case GSM_CALL_OutgoingCall:
        return begin(false, number);
    case GSM_CALL_CallStart:
        return connect(number);
    case GSM_CALL_CallEnd:
    case GSM_CALL_CallRemoteEnd:
    case GSM_CALL_CallLocalEnd:
        return end(number);
    case GSM_CALL_CallEstablished: // the network accepted the dialled number: it rings at the other end
    case GSM_CALL_CallHeld:
    case GSM_CALL_CallResumed:
    case GSM_CALL_CallSwitched:
        return;
    }
}

void VXGammuCallTracker::didDial(const QString &number)
{
    begin(false, number);
}

void VXGammuCallTracker::didAnswer()
{
    const auto ringing =
        std::ranges::find_if(_calls, [](const Call &call) { return call.isIncoming && call.connected.isNull(); });
    if (ringing != _calls.end())
        connect(ringing->number);
}

void VXGammuCallTracker::didHangUp()
{
    didLosePhone();
}

void VXGammuCallTracker::endThoseThatRingNoMore()
{
    const QDateTime now = _now();
    const auto isOver = [&now](const Call &call) {
        return call.isIncoming && call.connected.isNull() && call.rang.secsTo(now) > longestPause;
    };
    for (auto over = std::ranges::find_if(_calls, isOver); over != _calls.end();
         over = std::ranges::find_if(_calls, isOver))
        end(over->number);
}

void VXGammuCallTracker::didLosePhone()
{
    while (!_calls.empty())
        end(_calls.back().number);
}

// The call with that number. If the phone does not give the number, the latest call; one that rings is preferred to one
// that is connected.
VXGammuCallTracker::Calls::iterator VXGammuCallTracker::find(const QString &number)
{
    if (!number.isEmpty())
        return std::ranges::find(_calls, number, &Call::number);
    const auto ringing = std::ranges::find_if(_calls, [](const Call &call) { return call.connected.isNull(); });
    return ringing != _calls.end() || _calls.empty() ? ringing : _calls.end() - 1;
}

// Phones report a call again with each ring.
void VXGammuCallTracker::begin(bool isIncoming, const QString &number)
{
    const auto isSame = [&](const Call &call) { return call.isIncoming == isIncoming && call.number == number; };
    if (const auto same = std::ranges::find_if(_calls, isSame); same != _calls.end()) {
        same->rang = _now();
        return;
    }
    _calls.push_back({isIncoming, number, _now(), {}, _now()});
    tell(_calls.back(), u"ringing"_s);
}

void VXGammuCallTracker::connect(const QString &number)
{
    const auto call = find(number);
    if (call == _calls.end() || !call->connected.isNull())
        return;
    call->connected = _now();
    tell(*call, u"connected"_s);
}

void VXGammuCallTracker::end(const QString &number)
{
    const auto found = find(number);
    if (found == _calls.end())
        return;
    const Call call = *found;
    _calls.erase(found);
    tell(call, u"ended"_s);
}

void VXGammuCallTracker::tell(const Call &call, const QString &step) const
{
    QVariantMap object{{u"date"_s, call.began}};
    VXAddParties(object, call.isIncoming, call.number);
    if (call.connected.isValid())
        object.insert(u"connectedDate"_s, call.connected);
    if (step == "ended"_L1) {
        const bool wasConnected = !call.connected.isNull();
        object.insert(u"isMissed"_s, call.isIncoming && !wasConnected);
        object.insert(u"duration"_s, wasConnected ? call.connected.secsTo(_now()) : 0);
    }
    _listener(call.isIncoming ? u"incoming_call"_s : u"outgoing_call"_s, step, object);
}
