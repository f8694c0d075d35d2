#pragma once

#include "VXFailingCallsShim.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/**
 * A walk over every writing call of an operation: it runs in processes of its own, in each of which another call fails,
 * with an error once, as on a full disk (that call and all after it), or by the end of the process; some more are killed at
 * any moment. Afterwards things must stand as before or as after the operation, and the answer must say which.
 *
 *     VXFailureWalk walk;
 *     walk.prepare = [&] { write(file, "old"); };
 *     walk.operation = [&] { return replace(file, "new"); };
 *     walk.state = [&] { return read(file); };
 *     walk.run();
 *
 * Of long operations the usual run takes some calls spread over all; VORNIX_FAULT_CALLS says how many, and VORNIX_KILLS how many
 * are killed at any moment.
 */
struct VXFailureWalk
{
    /** Brings about the state before, whatever the state is. */
    std::function<void()> prepare;
    /** The operation; true for success. In a process of its own. */
    std::function<bool()> operation;
    /** What somebody finds who reads in a new process: equal before the operation, after it, or neither when damaged. */
    std::function<QVariant()> state;

    /** After the answer "no", in the operation's process: it said that it does not know, so that both states are right. */
    std::function<bool()> isUnknown;

    /** Files that nobody will look at again. Only a process that was killed, or could not remove one, may leave such. */
    std::function<QStringList()> leftovers;

    /** Which calls fail. */
    unsigned kinds = VXCallFiles;
    /** A library whose calls alone fail, for VXCallMalloc; what it does then may end the process. */
    const char *caller = nullptr;
    /** The answer "no" is true of the state after as well, as when only the syncing of a folder failed. */
    bool mayRefuseWhatIsDone = false;

    /** How many calls of each way fail when nothing else is asked for. */
    unsigned usualRounds = 30;
    /** How many processes are killed at any moment. */
    unsigned usualKills = 2;

    /** Fails the test where a state or an answer is wrong, or nothing was there to fail. */
    void run() const;

private:
    struct Outcome
    {
        std::optional<bool> answer; // none when the process ended
        bool isUnknown = false;     // what the answer "no" says
        int status = 0;
        unsigned long counted = 0;
        unsigned failedKinds = 0;
        std::chrono::microseconds duration = {};
    };
    using Moment = std::optional<std::chrono::microseconds>; // from the beginning, when the process is killed
    Outcome runOnce(const VXCallFailure &failure, Moment end = {}) const;
    void check(const VXCallFailure &failure, Moment end, const QVariant &before, const QVariant &after) const;
};
