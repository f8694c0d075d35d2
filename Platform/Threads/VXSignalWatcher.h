#pragma once

#include "VXPlatformExport.h"

#include <csignal>
#include <functional>
#include <initializer_list>
#include <QtCore/QSocketNotifier>
#include <vector>

/**
 * Converts Unix signals to calls on the main event loop during its lifetime, and restores the former actions
 * afterwards. A later watcher of the same signal takes precedence over an earlier one, so they must end in reverse
 * order. Main thread only.
 */
class VX_PLATFORM_EXPORT VXSignalWatcher
{
public:
    using Handler = std::function<void(int signal)>;

    VXSignalWatcher(std::initializer_list<int> signalNumbers, Handler handler);
    ~VXSignalWatcher();
    VXSignalWatcher(const VXSignalWatcher &) = delete;
    VXSignalWatcher &operator=(const VXSignalWatcher &) = delete;

    /** Delivers signals that have arrived meanwhile, for work that runs no event loop. */
    void deliverPending();

private:
    struct Watched
    {
        int number;
        struct sigaction previousAction;
        int previousPipe;
    };

    bool deliver();

    int _pipe[2];
    Handler _handler;
    std::vector<Watched> _watched;
    QSocketNotifier _notifier;
};
