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

/** What a phone reported without being asked. */
using VXGammuReport = std::variant<GSM_Call, GSM_SMSMessage>;

/**
 * The connection to the phone; owns the library's state machine. To be used on the main thread, except for what is
 * marked "any thread". It is useless after an error that ends the connection.
 */
class VXGammuSession
{
public:
    VXGammuSession() = default;
    ~VXGammuSession() = default;
    VXGammuSession(const VXGammuSession &) = delete;
    VXGammuSession &operator=(const VXGammuSession &) = delete;

    /** Connects; to be called once. */
    VXGammuFailure open(const VXGammuConfiguration &configuration);
    /** Says goodbye to the phone, waiting for its answers. */
    void close();

    /** Calls the library with the state machine; returns a GSM_Error. */
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

    /** True for an error after which the connection is useless. */
    static bool endsConnection(GSM_Error code);
    /** The error that ended the connection; ERR_NONE as long as it exists. */
    GSM_Error failure() const { return _failure; }

    /** True if the phone takes texts as vCards and similar formats, not inside quotation marks of AT commands. */
    bool takesCards() const { return _takesCards; }

    /** True if the phone reports an incoming call each time it rings, and nothing when the caller gives up. */
    bool repeatsRings() const { return _repeatsRings; }

    /** True if the phone reports calls, messages or both. */
    bool isListening() const { return _isListening; }
    /** Receives what the phone says without being asked; returns within a moment. */
    void listen();
    /** What was reported since the last call, including during calls of the library. */
    std::vector<VXGammuReport> takeReports() { return std::exchange(_reports, {}); }

    /** Waits for the outcome of a message that was handed over; ERR_TIMEOUT if the phone does not tell. */
    GSM_Error waitUntilSent(const std::function<GSM_Error(GSM_StateMachine *)> &send);

    /** Any thread. What keeps the phone from answering: it was unplugged, or has been silent for longer than allowed
     *  while the library waits for it; ERR_NONE if nothing does. */
    GSM_Error obstacle() const;
    /** Any thread. Ends the library's current call with that error, if the library can end it. */
    void abort(GSM_Error reason);

private:
    struct FreeMachine
    {
        void operator()(GSM_StateMachine *machine) const { GSM_FreeStateMachine(machine); }
    };
    using Clock = std::chrono::steady_clock;

    // As long as one exists, the library is waiting for the phone.
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
    std::atomic<Clock::rep> _lastHeard{0}; // or when the library was called; 0: it is not being called
    std::atomic<std::chrono::seconds> _timeout{VXGammuConfiguration().timeout};

    std::atomic<GSM_Error> _abortReason{ERR_NONE};

    mutable std::mutex _lock;
    QString _port; // with the lock: a file that existed when the connection was made; else null
};
