#pragma once

#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

/** A process beside the test's own that takes hold of something, and keeps it until it is killed. */
class VXOtherProcess
{
public:
    /** `take` runs there; what it returns is held, and is false when it could not be had. */
    template <class F>
    explicit VXOtherProcess(F &&take)
    {
        int ends[2];
        if (::pipe(ends) != 0)
            return;
        _process = ::fork();
        if (_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const auto held = take();
            const char answer = held ? 'y' : 'n';
            if (::write(ends[1], &answer, 1) != 1)
                std::_Exit(1);
            while (true)
                ::pause();
        }
        ::close(ends[1]);
        char answer = 'n';
        _isReady = ::read(ends[0], &answer, 1) == 1 && answer == 'y';
        ::close(ends[0]);
    }
    ~VXOtherProcess() { kill(); }
    VXOtherProcess(const VXOtherProcess &) = delete;
    VXOtherProcess &operator=(const VXOtherProcess &) = delete;

    /** True once it holds it. */
    bool isReady() const { return _isReady; }
    /** As SIGKILL ends it; returns when it is gone. */
    void kill()
    {
        if (_process <= 0)
            return;
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
        _process = -1;
    }

private:
    pid_t _process = -1;
    bool _isReady = false;
};
