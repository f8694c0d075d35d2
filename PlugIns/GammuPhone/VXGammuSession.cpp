#include "VXGammuSession.h"

#include "VXGammuText.h"

#include <QtCore/QFileInfo>

#include <string_view>

using namespace Qt::StringLiterals;

VXGammuSession::VXGammuSession(Configure configure) : _configure(std::move(configure)) {}

VXGammuSession::~VXGammuSession()
{
    close();
}

// -- Connecting

VXError VXGammuSession::open()
{
    if (isOpen() && !_hasFailed)
        return {};
    close();
    _hasFailed = false;
    const VXError error = connect();
    if (error)
        close();
    return error;
}

void VXGammuSession::renew()
{
    if (_abortReason.exchange(ERR_NONE) != ERR_NONE)
        _hasFailed = true; // the state machine stays aborted for good
}

VXError VXGammuSession::connect()
{
    Machine machine(GSM_AllocStateMachine());
    const QString cannotConnect = VXGammuLocalizedString(u"The phone could not be reached: %1"_s);
    if (!machine)
        return VXMakeGammuError(cannotConnect, ERR_MOREMEMORY);
    const VXGammuConfiguration configuration = _configure();
    _timeout = configuration.timeout;
    VXError error;
    callLibrary([&] {
        error = configuration.applyTo(machine.get());
        return ERR_NONE;
    });
    if (error)
        return error;
    setMachine(std::move(machine));
    // Tried once: a phone that does not answer takes long enough.
    const GSM_Error code = callLibrary([this] { return GSM_InitConnection_Log(_machine.get(), 1, didLog, this); });
    if (code != ERR_NONE)
        return VXMakeGammuError(cannotConnect, code);
    rememberPort();
    _isOpen = true;
    subscribe();
    return {};
}

void VXGammuSession::close()
{
    _isOpen = _isListening = false;
    if (!_machine)
        return;
    {
        const VXGammuTurn turn([] { return false; });
        GSM_TerminateConnection(_machine.get());
    }
    setMachine(nullptr);
    const VXMutexLocker lock(_lock);
    _port.clear();
}

void VXGammuSession::setMachine(Machine machine)
{
    const VXMutexLocker lock(_lock);
    _machine.swap(machine);
}

void VXGammuSession::rememberPort()
{
    const QString port = QFile::decodeName(GSM_GetConfig(_machine.get(), -1)->Device);
    const VXMutexLocker lock(_lock);
    _port = QFileInfo::exists(port) ? port : QString();
}

void VXGammuSession::subscribe()
{
    GSM_SetIncomingCallCallback(_machine.get(), didReceiveCall, this);
    GSM_SetIncomingSMSCallback(_machine.get(), didReceiveMessage, this);
    GSM_SetSendSMSStatusCallback(_machine.get(), didSendMessage, this);
    const GSM_Error calls = call([](GSM_StateMachine *machine) { return GSM_SetIncomingCall(machine, TRUE); });
    const GSM_Error messages = call([](GSM_StateMachine *machine) { return GSM_SetIncomingSMS(machine, TRUE); });
    // A phone that is a folder has nothing to say.
    _isListening = GSM_GetUsedConnection(_machine.get()) != GCT_NONE && (calls == ERR_NONE || messages == ERR_NONE);
}

// -- Calling the library

GSM_Error VXGammuSession::callLibrary(const std::function<GSM_Error()> &function)
{
    const VXGammuTurn turn([this] { return isAborted(); });
    if (!turn)
        return _abortReason;
    _lastHeard = Clock::now().time_since_epoch().count();
    const GSM_Error code = function();
    _lastHeard = 0;
    return code == ERR_ABORTED && isAborted() ? _abortReason.load() : code;
}

GSM_Error VXGammuSession::noteError(GSM_Error code)
{
    if (endsConnection(code))
        _hasFailed = true;
    return code;
}

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
    while (code == ERR_NONE && _sendingState == ERR_TIMEOUT && !isAborted() && Clock::now() < limit)
        code = call([](GSM_StateMachine *machine) { // returns within a second
            return GSM_ReadDevice(machine, TRUE) < 0 ? ERR_DEVICEREADERROR : ERR_NONE;
        });
    if (code != ERR_NONE)
        return code;
    return isAborted() ? _abortReason.load() : _sendingState;
}

// -- Any thread

void VXGammuSession::abort(GSM_Error reason)
{
    _abortReason = reason;
    {
        const VXMutexLocker lock(_lock);
        if (_machine)
            GSM_AbortOperation(_machine.get());
    }
    VXGammuTurn::wake();
}

bool VXGammuSession::isOverdue() const
{
    const Clock::rep heard = _lastHeard;
    return heard != 0 && Clock::now().time_since_epoch() - Clock::duration(heard) > _timeout.load();
}

bool VXGammuSession::isPortGone() const
{
    const VXMutexLocker lock(_lock);
    return !_port.isNull() && !QFileInfo::exists(_port);
}

// -- Called by the library, during a call of it

// One call may talk with the phone for long, as to find the next of few contacts.
void VXGammuSession::didLog(const char *text, void *session)
{
    if (std::string_view(text).starts_with("RECEIVED frame"))
        static_cast<VXGammuSession *>(session)->_lastHeard = Clock::now().time_since_epoch().count();
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
