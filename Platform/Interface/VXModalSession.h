#pragma once

#include "VXPlatformExport.h"

#include <optional>

class QEventLoop;

/**
 * Blocks its caller while the main event loop is still served: calls to the main thread, timers and sockets continue.
 * Sessions nest; an outer one ends after the inner ones. Main thread only.
 */
class VX_PLATFORM_EXPORT VXModalSession
{
public:
    /** The result of `run` when the application has quit instead. */
    static constexpr int Aborted = -1000;

    VXModalSession() = default;
    VXModalSession(const VXModalSession &) = delete;
    VXModalSession &operator=(const VXModalSession &) = delete;

    /** Waits for `stop` and returns its code; at once when the session was stopped beforehand. */
    int run();
    void stop(int code);
    bool isRunning() const { return _loop != nullptr; }

private:
    QEventLoop *_loop = nullptr;
    std::optional<int> _code;
};
