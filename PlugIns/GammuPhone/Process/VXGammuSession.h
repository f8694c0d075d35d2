#pragma once

#include "VXGammuConfiguration.h"
#include "VXGammuFailure.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <variant>
#include <vector>

/** What a phone told without being asked. */
using VXGammuReport = std::variant<GSM_Call, GSM_SMSMessage>;

/**
 * The connection to the phone: it owns the library's state machine. To be used on the main thread, but for what says "any
 * thread". After an error that ends a connection it is of no use any more.
 */
class VXGammuSession
{
public:
    VXGammuSession() = default;
    ~VXGammuSession() = default;
    VXGammuSession(const VXGammuSession &) = delete;
    VXGammuSession &operator=(const VXGammuSession &) = delete;

    /** Connects, once. */
    VXGammuFailure open(const VXGammuConfiguration &configuration);
    /** Takes leave of the phone: waits for its answers. */
    void close();

    /** Calls the library, which gets the state machine and gives a GSM_Error. */
    template <class F>
    GSM_Error call(F &&function)
    {
        if (_failure != ERR_NONE)
            return _failure;
        const Call running(*this);
        GSM_Error code = std::forward<F>(function)(_machine.get());
        if (code == ERR_ABORTED && _abortReason != ERR_NONE)
            code = _abortReason;
        if (endsConnection(code))
            _failure = code;
        return code;
    }

    /** True for an error after which the connection is of no use. */
    static bool endsConnection(GSM_Error code);
    /** The error that ended the connection; ERR_NONE while it is there. */
    GSM_Error failure() const { return _failure; }

    /** True when the phone takes texts as vCards and the like, and not inside quotation marks of AT commands. */
    bool takesCards() const { return _takesCards; }

    /** True when the phone reports a call that comes in each time it rings, and nothing when the caller gives up. */
    bool repeatsRings() const { return _repeatsRings; }

    /** True while the phone reports calls, messages or both. */
    bool isListening() const { return _isListening; }
    /** Takes in what the phone says without being asked; returns within a moment. */
    void listen();
    /** What was reported since it was last asked for, also during calls of the library. */
    std::vector<VXGammuReport> takeReports() { return std::exchange(_reports, {}); }

    /** The outcome of a message that was handed over: waits for it; ERR_TIMEOUT when the phone does not tell. */
    GSM_Error waitUntilSent(const std::function<GSM_Error(GSM_StateMachine *)> &send);

    /** Any thread. What keeps the phone from answering: it was unplugged, or has been silent for longer than it may be
     *  while the library waits for it; ERR_NONE when nothing does. */
    GSM_Error obstacle() const;
    /** Any thread. Ends the call of the library that runs now with that error, if the library can end it. */
    void abort(GSM_Error reason);

private:
    struct FreeMachine
    {
        void operator()(GSM_StateMachine *machine) const { GSM_FreeStateMachine(machine); }
    };
    using Clock = std::chrono::steady_clock;

    // While one exists the library waits for the phone.
    class Call
    {
    public:
        explicit Call(VXGammuSession &session) : _session(session) { session.didHear(); }
        ~Call() { _session._lastHeard = 0; }
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;

    private:
        VXGammuSession &_session;
    };

    void didHear() { _lastHeard = Clock::now().time_since_epoch().count(); }
    void rememberPort();
    void subscribe();
    static bool speaksAT(GSM_ConnectionType connection);

    static void didLog(const char *text, void *session);
    static void didReceiveCall(GSM_StateMachine *, GSM_Call *call, void *session);
    static void didReceiveMessage(GSM_StateMachine *, GSM_SMSMessage *message, void *session);
    static void didSendMessage(GSM_StateMachine *, int status, int reference, void *session);

    std::unique_ptr<GSM_StateMachine, FreeMachine> _machine;
    std::vector<VXGammuReport> _reports;
    GSM_Error _failure = ERR_NONE;
    GSM_Error _sendingState = ERR_NONE; // ERR_TIMEOUT until the phone has told
    bool _isListening = false;
    bool _takesCards = false;
    bool _repeatsRings = false;
    std::atomic<Clock::rep> _lastHeard{0}; // or when the library was called; 0: it is not
    std::atomic<std::chrono::seconds> _timeout{VXGammuConfiguration().timeout};

    std::atomic<GSM_Error> _abortReason{ERR_NONE};

    mutable std::mutex _lock;
    QString _port; // with the lock: a file that was there when the connection was made; else null
};
