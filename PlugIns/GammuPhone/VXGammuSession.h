#pragma once

#include "VXGammuConfiguration.h"
#include "VXGammuTurn.h"
#include "VXMutex.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

/** What a phone told without being asked. */
using VXGammuReport = std::variant<GSM_Call, GSM_SMSMessage>;

/**
 * The connection to one phone: it owns the library's state machine. To be used on one thread, the phone's worker, but
 * for what says "any thread". After an abort, or an error that ends a connection, it is of no use until opened again.
 */
class VXGammuSession
{
public:
    /** Asked anew, on the worker's thread, for each connection. */
    using Configure = std::function<VXGammuConfiguration()>;

    explicit VXGammuSession(Configure configure);
    ~VXGammuSession();
    VXGammuSession(const VXGammuSession &) = delete;
    VXGammuSession &operator=(const VXGammuSession &) = delete;

    /** Connects, unless connected. The error is for the user. */
    VXError open();
    /** Lets an abort be over. What it ended stays ended: the next `open` connects anew. */
    void renew();
    void close();

    /** Calls the library, which gets the state machine and gives a GSM_Error. ERR_NOTCONNECTED while not open. */
    template <class F>
    GSM_Error call(F &&function)
    {
        if (!isOpen())
            return ERR_NOTCONNECTED;
        return noteError(callLibrary([&] { return function(_machine.get()); }));
    }

    /** True for an error after which the connection is of no use. */
    static bool endsConnection(GSM_Error code);
    bool hasFailed() const { return _hasFailed; }

    /** True while the phone reports calls, messages or both. */
    bool isListening() const { return _isListening; }
    /** Takes in what the phone says without being asked; returns within a moment. */
    void listen();
    /** What was reported since it was last asked for, also during calls of the library. */
    std::vector<VXGammuReport> takeReports() { return std::exchange(_reports, {}); }

    /** The outcome of a message that was handed over: waits for it; ERR_TIMEOUT when the phone does not tell. */
    GSM_Error waitUntilSent(const std::function<GSM_Error(GSM_StateMachine *)> &send);

    // -- Any thread
    bool isOpen() const { return _isOpen; }
    /** Ends the library's call that runs now, and all later ones, with that error, until `renew`. */
    void abort(GSM_Error reason);
    bool isAborted() const { return _abortReason != ERR_NONE; }
    /** True when the library waits for the phone, which has said nothing for longer than it may. */
    bool isOverdue() const;
    /** True when the port was there, and is not any more: the phone was unplugged. */
    bool isPortGone() const;

private:
    struct FreeMachine
    {
        void operator()(GSM_StateMachine *machine) const { GSM_FreeStateMachine(machine); }
    };
    using Machine = std::unique_ptr<GSM_StateMachine, FreeMachine>;
    using Clock = std::chrono::steady_clock;

    GSM_Error callLibrary(const std::function<GSM_Error()> &function);
    GSM_Error noteError(GSM_Error code);
    VXError connect();
    void setMachine(Machine machine);
    void subscribe();
    void rememberPort();

    static void didLog(const char *text, void *session);
    static void didReceiveCall(GSM_StateMachine *, GSM_Call *call, void *session);
    static void didReceiveMessage(GSM_StateMachine *, GSM_SMSMessage *message, void *session);
    static void didSendMessage(GSM_StateMachine *, int status, int reference, void *session);

    const Configure _configure;
    std::vector<VXGammuReport> _reports;
    GSM_Error _sendingState = ERR_NONE; // ERR_TIMEOUT until the phone has told
    bool _hasFailed = false;
    bool _isListening = false;
    std::atomic<bool> _isOpen{false};
    std::atomic<GSM_Error> _abortReason{ERR_NONE};
    std::atomic<Clock::rep> _lastHeard{0}; // or when the library was called; 0: it is not
    std::atomic<std::chrono::seconds> _timeout{VXGammuConfiguration().timeout};

    mutable VXMutex _lock;
    Machine _machine; // changed under the lock by the worker, which reads it without; others only abort under the lock
    QString _port VX_GUARDED_BY(_lock); // a file that was there when the connection was made; else null
};
