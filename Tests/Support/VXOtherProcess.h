#pragma once

#include <gtest/gtest.h>

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

/** Has so many processes do the work at once, each with its number. @return how many of them answered true. */
template <class F>
int VXProcessesThatSucceed(int count, F &&work)
{
    int start[2];
    if (::pipe(start) != 0)
        return 0;
    for (int number = 0; number < count; ++number) {
        if (::fork() != 0)
            continue;
        char byte = 0;
        ::close(start[1]);
        const bool isReady = ::read(start[0], &byte, 1) == 0; // all are there once the other end is closed
        ::_exit(isReady && work(number) && !testing::Test::HasFailure() ? 0 : 1);
    }
    ::close(start[0]);
    ::close(start[1]);
    int successes = 0;
    for (int number = 0; number < count; ++number) {
        int status = -1;
        successes += ::wait(&status) > 0 && status == 0 ? 1 : 0;
    }
    return successes;
}
