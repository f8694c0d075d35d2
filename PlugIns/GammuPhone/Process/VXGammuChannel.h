#pragma once

#include "VXGammuProtocol.h"
#include "VXGammuSession.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <variant>

/**
 * The process's end of the conversation with its device. A thread of its own receives what the device says, and watches
 * over the work on a request: if the device has hung up or cancelled, or the phone does not answer, the library is
 * asked to stop; if it does not stop, the process ends.
 */
class VXGammuChannel
{
public:
    using Message = std::variant<VXGammuProtocol::Configure, VXGammuProtocol::Request>;
    /** The caller keeps ownership of the descriptors; a write that would block waits. The session is what is watched.
     *  */
    VXGammuChannel(int input, int output, VXGammuSession &session);
    VXGammuChannel(const VXGammuChannel &) = delete;
    VXGammuChannel &operator=(const VXGammuChannel &) = delete;

    /** The next message; none when the time is over (which never happens if it is negative) or the device has hung up.
     *  */
    std::optional<Message> next(std::chrono::milliseconds time);
    bool hasHungUp() const { return _hasHungUp; }

    /** The work is watched between these two calls. */
    void beginWork();
    void endWork();
    /** True if the device no longer wants the answer to the request. */
    bool isCancelled() const { return _isCancelled || _hasHungUp; }

    template <class Reply>
    void send(const Reply &reply)
    {
        write(VXGammuProtocol::encode(reply));
    }
    /** Reports that the phone is lost, and ends the process. Any thread. */
    [[noreturn]] void giveUp(const VXGammuFailure &failure);

private:
    using Clock = std::chrono::steady_clock;

    void run();
    bool takeIn();
    void take(const QCborArray &array);
    void watch();
    GSM_Error obstacle() const;
    void write(const QByteArray &bytes);

    const int _input;
    const int _output;
    VXGammuSession &_session;
    VXGammuFrames _frames;                       // the thread's
    std::optional<Clock::time_point> _vainSince; // the thread's: when it first saw that the work was in vain
    int _wake[2] = {-1, -1};                     // makes the thread look again
    std::atomic<bool> _isWorking{false};
    std::atomic<bool> _isCancelled{false};
    std::atomic<bool> _hasHungUp{false};

    std::mutex _lock;
    std::condition_variable _changed;
    std::deque<Message> _messages; // with the lock
    std::mutex _writing;
};
