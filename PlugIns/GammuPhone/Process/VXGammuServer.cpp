#include "VXGammuServer.h"

#include "VXGammuContacts.h"
#include "VXGammuMessages.h"
#include "VXGammuProperties.h"
#include "VXGammuText.h"

#include <QtCore/QHash>

using namespace Qt::StringLiterals;
using namespace VXGammuProtocol;

namespace {

// How often a phone is asked for news: the library provides no descriptor to wait for.
constexpr std::chrono::milliseconds listeningInterval{200};
constexpr std::chrono::milliseconds forever{-1};

VXGammuFailure cannotReach(GSM_Error code)
{
    return VXGammuTrouble(u"The phone could not be reached: %1"_s, code);
}

} // namespace

VXGammuServer::VXGammuServer(int input, int output)
    : _channel(input, output, _session), _calls([this](const QString &event, const QString &step,
                                                       const QVariantMap &call) { tellCall(event, step, call); })
{
}

void VXGammuServer::run()
{
    if (!connect())
        return;
    while (!_channel.hasHungUp() && _session.failure() == ERR_NONE) {
        const auto message = _channel.next(_session.isListening() ? listeningInterval : forever);
        if (message && std::holds_alternative<Request>(*message))
            perform(std::get<Request>(*message));
        else if (!message && !_channel.hasHungUp())
            listen();
        tellReports();
    }
    _calls.tracker().didLosePhone();
    if (const GSM_Error failure = _session.failure(); failure != ERR_NONE)
        _channel.giveUp(cannotReach(failure));
    _session.close();
}

bool VXGammuServer::connect()
{
    const auto message = _channel.next(forever);
    if (!message || !std::holds_alternative<Configure>(*message))
        return false;
    _channel.beginWork();
    const auto configuration = VXGammuConfiguration::fromValues(std::get<Configure>(*message).values);
    if (const VXGammuFailure failure = _session.open(configuration))
        _channel.giveUp(failure);
    tellState(VXReadGammuIdentity(_session));
    _channel.endWork();
    return true;
}

void VXGammuServer::perform(const Request &request)
{
    VXGammuJob job(_channel, request.object);
    _channel.beginWork();
    const VXGammuFailure failure = work(request.action, job);
    _channel.endWork();
    if (const GSM_Error lost = _session.failure(); lost != ERR_NONE)
        _channel.send(Lost{.failure = cannotReach(lost)}); // first: nothing more may be requested of this process
    _channel.send(Concluded{.result = job.result(), .failure = failure});
}

VXGammuFailure VXGammuServer::work(const QString &action, VXGammuJob &job)
{
    using Work = VXGammuFailure (*)(VXGammuSession &, VXGammuJob &);
    static const QHash<QString, Work> works{
        {u"read_contacts"_s, &VXGammuContacts::read},    {u"write_contact"_s, &VXGammuContacts::write},
        {u"delete_contact"_s, &VXGammuContacts::remove}, {u"read_messages"_s, &VXGammuMessages::read},
        {u"send_message"_s, &VXGammuMessages::send},     {u"write_message"_s, &VXGammuMessages::write},
        {u"delete_message"_s, &VXGammuMessages::remove}, {u"read_calls"_s, &VXGammuCalls::read},
    };
    using CallWork = VXGammuFailure (VXGammuCalls::*)(VXGammuSession &, VXGammuJob &);
    static const QHash<QString, CallWork> callWorks{
        {u"dial"_s, &VXGammuCalls::dial},
        {u"answer"_s, &VXGammuCalls::answer},
        {u"hang_up"_s, &VXGammuCalls::hangUp},
    };
    if (const Work found = works.value(action))
        return found(_session, job);
    if (const CallWork found = callWorks.value(action))
        return (_calls.*found)(_session, job);
    if (action == "state"_L1)
        tellState();
    return {};
}

void VXGammuServer::listen()
{
    _channel.beginWork();
    _session.listen();
    _channel.endWork();
    if (_session.repeatsRings())
        _calls.tracker().endThoseThatRingNoMore();
}

// What any use of the library may have caused.
void VXGammuServer::tellReports()
{
    for (const VXGammuReport &report : _session.takeReports()) {
        if (const auto *call = std::get_if<GSM_Call>(&report)) {
            _calls.tracker().didReport(*call);
            continue;
        }
        _channel.beginWork();
        const QVariantMap message = VXGammuMessages::reported(_session, std::get<GSM_SMSMessage>(report));
        _channel.endWork();
        _channel.send(Event{.name = u"new_message"_s, .step = {}, .object = message});
    }
}

void VXGammuServer::tellState(const QVariantMap &more)
{
    QVariantMap values = VXReadGammuState(_session);
    values.insert(more);
    _channel.send(Properties{.values = values});
}

void VXGammuServer::tellCall(const QString &event, const QString &step, const QVariantMap &call)
{
    _channel.send(Event{.name = event, .step = step, .object = call});
}
