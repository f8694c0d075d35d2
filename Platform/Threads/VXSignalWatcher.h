#pragma once

#include "VXPlatformExport.h"

#include <csignal>
#include <functional>
#include <initializer_list>
#include <QtCore/QSocketNotifier>
#include <vector>

/**
 * Turns Unix signals into calls on the main event loop while it lives; then what held before holds again. A
 * later watcher of the same signal goes before an earlier one, so they must end in reverse order. Main thread only.
 */
class VX_PLATFORM_EXPORT VXSignalWatcher
{
public:
    using Handler = std::function<void(int signal)>;

    VXSignalWatcher(std::initializer_list<int> signalNumbers, Handler handler);
    ~VXSignalWatcher();
    VXSignalWatcher(const VXSignalWatcher &) = delete;
    VXSignalWatcher &operator=(const VXSignalWatcher &) = delete;

    /** Calls with what has come meanwhile, for work that lets no event loop run. */
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
