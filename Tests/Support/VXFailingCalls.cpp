#include "VXFailingCalls.h"

#include "VXTesting.h"

#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int refused = 10;
constexpr int unknown = 11;
constexpr int secondsUntilStuck = 60;

// Memory that the process which runs the operation counts in.
VXCallCounts &sharedCounts()
{
    static auto *const counts = static_cast<VXCallCounts *>(
        ::mmap(nullptr, sizeof(VXCallCounts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return *counts;
}

std::string describe(const VXCallFailure &failure)
{
    return "call " + std::to_string(failure.number) +
           (failure.error == 0 ? " kills" : std::string(" fails: ") + std::strerror(failure.error)) +
           (failure.isLasting ? ", as all after it" : "");
}

// The kernel does it, whatever the process is doing then.
void killAfter(std::chrono::microseconds time)
{
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer = {};
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const auto rest = std::chrono::nanoseconds(time - seconds) + std::chrono::nanoseconds(1); // 0 would be never
    const itimerspec once{.it_interval = {}, .it_value = {seconds.count(), rest.count()}};
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || ::timer_settime(timer, 0, &once, nullptr) != 0)
        ::_exit(1);
}

int configured(const char *variable, unsigned usual)
{
    bool isNumber = false;
    const int number = qEnvironmentVariableIntValue(variable, &isNumber);
    return isNumber ? number : int(usual);
}

std::string text(const QVariant &state)
{
    std::string all = testing::PrintToString(state);
    return all.size() <= 600 ? all : all.substr(0, 600) + "...";
}

} // namespace

VXFailureWalk::Outcome VXFailureWalk::runOnce(const VXCallFailure &failure, Moment end) const
{
    VXCallCounts &counts = sharedCounts();
    counts.counted = 0;
    counts.failed = 0;
    counts.failedKinds = 0;
    prepare();
    std::fflush(nullptr); // else what is in the buffers would be written twice
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(secondsUntilStuck);
        if (end)
            killAfter(*end);
        VXFailCalls(&failure, &counts);
        const bool answer = operation();
        const VXCallFailure none;
        VXFailCalls(&none, &counts);
        const int refusal = isUnknown && isUnknown() ? unknown : refused;
        ::_exit(answer ? 0 : refusal); // without what the end of the program would still write
    }
    Outcome outcome;
    EXPECT_EQ(::waitpid(child, &outcome.status, 0), child);
    outcome.duration = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
    outcome.counted = counts.counted;
    outcome.failedKinds = counts.failedKinds;
    const int code = WIFEXITED(outcome.status) ? WEXITSTATUS(outcome.status) : -1;
    if (code == 0 || code == refused || code == unknown)
        outcome.answer = code == 0;
    outcome.isUnknown = code == unknown;
    return outcome;
}

void VXFailureWalk::check(const VXCallFailure &failure, Moment end, const QVariant &before, const QVariant &after) const
{
    SCOPED_TRACE(end ? "killed after " + std::to_string(end->count()) + " us" : describe(failure));
    const Outcome outcome = runOnce(failure, end);
    const QVariant found = state();
    const bool mayEnd = failure.error == 0 || caller != nullptr;
    if (!outcome.answer) {
        EXPECT_TRUE(mayEnd && WIFSIGNALED(outcome.status) && WTERMSIG(outcome.status) != SIGALRM)
            << "the process ended with " << outcome.status;
    }
    const bool isBefore = found == before;
    const bool isAfter = found == after;
    EXPECT_TRUE(isBefore || isAfter) << "neither old nor new: " << text(found);
    EXPECT_TRUE(outcome.answer != true || isAfter) << "it said yes: " << text(found);
    EXPECT_TRUE(outcome.answer != false || isBefore || outcome.isUnknown || mayRefuseWhatIsDone)
        << "it said no: " << text(found);
    const bool mustBeClean = leftovers && outcome.answer && (outcome.failedKinds & VXCallUnlink) == 0;
    EXPECT_EQ(mustBeClean ? leftovers() : QStringList(), QStringList());
}

void VXFailureWalk::run() const
{
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    if ((kinds & VXCallMalloc) != 0)
        GTEST_SKIP() << "the address sanitizer brings its own malloc";
#endif
#endif
    prepare();
    const QVariant before = state();
    const Outcome unhindered = runOnce({kinds, 0, 0, false, caller});
    const QVariant after = state();
    ASSERT_EQ(unhindered.answer, true) << "without a failure; status " << unhindered.status;
    ASSERT_FALSE(before == after) << "nothing changed: " << text(after);
    ASSERT_GT(unhindered.counted, 0U) << "no call that could fail";

    const auto rounds =
        std::min<unsigned long>(unsigned(configured("VORNIX_FAULT_CALLS", usualRounds)), unhindered.counted);
    const QList<VXCallFailure> ways =
        kinds == VXCallMalloc
            ? QList<VXCallFailure>{{kinds, 0, ENOMEM, false, caller}}
            : QList<VXCallFailure>{{kinds, 0, EIO, false, nullptr},
                                   {kinds & ~(VXCallUnlink | VXCallTruncate), 0, ENOSPC, true, nullptr},
                                   {kinds, 0, 0, false, nullptr}};
    for (VXCallFailure way : ways) {
        for (unsigned long round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
            way.number = 1 + round * unhindered.counted / rounds;
            check(way, {}, before, after);
        }
    }
    const VXCallFailure none{kinds, 0, 0, false, caller};
    for (int kill = configured("VORNIX_KILLS", usualKills); kill > 0 && !testing::Test::HasFailure(); --kill)
        check(
            none,
            std::chrono::microseconds(qint64(QRandomGenerator::global()->bounded(double(unhindered.duration.count())))),
            before, after);
}
