#include "VXGammuSession.h"

#include "VXGammuText.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <string_view>

using namespace Qt::StringLiterals;

VXGammuFailure VXGammuSession::open(const VXGammuConfiguration &configuration)
{
    const QString cannotConnect = u"The phone could not be reached: %1"_s;
    {
        const std::lock_guard lock(_lock);
        _machine.reset(GSM_AllocStateMachine());
    }
    if (!_machine)
        return VXGammuTrouble(cannotConnect, ERR_MOREMEMORY);
    _timeout = configuration.timeout;
    if (const VXGammuFailure failure = configuration.applyTo(_machine.get()))
        return failure;
    // Only one attempt: a phone that does not answer takes long enough.
    const GSM_Error code =
        call([this](GSM_StateMachine *machine) { return GSM_InitConnection_Log(machine, 1, didLog, this); });
    if (code != ERR_NONE)
        return VXGammuTrouble(cannotConnect, code);
    rememberPort();
    subscribe();
    return {};
}

void VXGammuSession::close()
{
    _isListening = false;
    if (_machine && _failure == ERR_NONE)
        call([](GSM_StateMachine *machine) { return GSM_TerminateConnection(machine); });
}

void VXGammuSession::rememberPort()
{
    const QString port = QFile::decodeName(GSM_GetConfig(_machine.get(), -1)->Device);
    const std::lock_guard lock(_lock);
    _port = QFileInfo::exists(port) ? port : QString();
}

void VXGammuSession::subscribe()
{
    GSM_SetIncomingCallCallback(_machine.get(), didReceiveCall, this);
    GSM_SetIncomingSMSCallback(_machine.get(), didReceiveMessage, this);
    GSM_SetSendSMSStatusCallback(_machine.get(), didSendMessage, this);
    const GSM_Error calls = call([](GSM_StateMachine *machine) { return GSM_SetIncomingCall(machine, TRUE); });
    const GSM_Error messages = call([](GSM_StateMachine *machine) { return GSM_SetIncomingSMS(machine, TRUE); });
    // A phone that is a folder never reports anything, and stores cards.
    const GSM_ConnectionType connection = GSM_GetUsedConnection(_machine.get());
    _takesCards = connection == GCT_NONE;
    _repeatsRings = speaksAT(connection);
    _isListening = !_takesCards && (calls == ERR_NONE || messages == ERR_NONE);
}

bool VXGammuSession::speaksAT(GSM_ConnectionType connection)
{
    return connection == GCT_AT || connection == GCT_BLUEAT || connection == GCT_IRDAAT || connection == GCT_DKU2AT ||
           connection == GCT_PROXYAT;
}

// -- Calling the library

bool VXGammuSession::endsConnection(GSM_Error code)
{
    switch (code) {
    case ERR_DEVICEOPENERROR:
    case ERR_DEVICENOTEXIST:
    case ERR_DEVICENOTWORK:
    case ERR_DEVICEWRITEERROR:
    case ERR_DEVICEREADERROR:
    case ERR_TIMEOUT:
    case ERR_NOTCONNECTED:
    case ERR_ABORTED:
    case ERR_PHONEOFF:
        return true;
    default:
        return false;
    }
}

void VXGammuSession::listen()
{
    if (const GSM_Error found = obstacle(); found != ERR_NONE)
        _failure = found;
    call([](GSM_StateMachine *machine) {
        GSM_ReadDevice(machine, FALSE);
        return ERR_NONE;
    });
}

GSM_Error VXGammuSession::waitUntilSent(const std::function<GSM_Error(GSM_StateMachine *)> &send)
{
    _sendingState = ERR_TIMEOUT;
    GSM_Error code = call(send);
    const auto limit = Clock::now() + 2 * _timeout.load();
    while (code == ERR_NONE && _sendingState == ERR_TIMEOUT && Clock::now() < limit)
        code = call([](GSM_StateMachine *machine) { // returns within a second
            return GSM_ReadDevice(machine, TRUE) < 0 ? ERR_DEVICEREADERROR : ERR_NONE;
        });
    return code == ERR_NONE ? _sendingState : code;
}

GSM_Error VXGammuSession::obstacle() const
{
    {
        const std::lock_guard lock(_lock);
        if (!_port.isNull() && !QFileInfo::exists(_port))
            return ERR_DEVICENOTEXIST;
    }
    const Clock::rep heard = _lastHeard;
    const bool isOverdue = heard != 0 && Clock::now().time_since_epoch() - Clock::duration(heard) > _timeout.load();
    return isOverdue ? ERR_TIMEOUT : ERR_NONE;
}

void VXGammuSession::abort(GSM_Error reason)
{
    const std::lock_guard lock(_lock);
    if (!_machine || _abortReason != ERR_NONE)
        return;
    _abortReason = reason;
    GSM_AbortOperation(_machine.get());
}

// -- Called by the library while it is being called

// One call may talk to the phone for a long time, for example to find the next of few contacts.
void VXGammuSession::didLog(const char *text, void *session)
{
    if (std::string_view(text).starts_with("RECEIVED frame"))
        static_cast<VXGammuSession *>(session)->didHear();
}

void VXGammuSession::didReceiveCall(GSM_StateMachine *, GSM_Call *call, void *session)
{
    static_cast<VXGammuSession *>(session)->_reports.emplace_back(*call);
}

void VXGammuSession::didReceiveMessage(GSM_StateMachine *, GSM_SMSMessage *message, void *session)
{
    static_cast<VXGammuSession *>(session)->_reports.emplace_back(*message);
}

void VXGammuSession::didSendMessage(GSM_StateMachine *, int status, int, void *session)
{
    static_cast<VXGammuSession *>(session)->_sendingState = status == 0 ? ERR_NONE : ERR_UNKNOWN;
}
