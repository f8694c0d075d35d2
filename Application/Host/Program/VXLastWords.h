#pragma once

#include <QtCore/QString>

#include <atomic>
#include <optional>
#include <sys/types.h>

class VXHostOutput;

/**
 * Reports on standard error if the program ends suddenly while plugins are loaded: a crash, or a plugin that calls
 * exit() or a similar function. It names the plugin whose code it was, wherever it was called from, and the one that
 * was active at the time. After an exit(), the user's changes are saved, the answer is written, and the exit status is
 * correct. Crashes end the process with their signal, as they would anyway. One at a time.
 */
class VXLastWords
{
public:
    /** The output must outlive the object. */
    explicit VXLastWords(VXHostOutput &output);
    ~VXLastWords();
    VXLastWords(const VXLastWords &) = delete;
    VXLastWords &operator=(const VXLastWords &) = delete;

    /** The command is done, and its answer is written: sets the status with which the program ends, whatever a plugin
     *  asks for. */
    void setStatus(int status) { _status = status; }

    /** Called first by exit() and similar functions, on any thread. Does not return if there is something to report. */
    static void atExit();

private:
    static QString textOfExit();
    static void tellOfCrash(int signal);
    static void finishCrash(int signal);
    [[noreturn]] void tellOfExit();

    static std::atomic<VXLastWords *> _current;

    VXHostOutput &_output;
    const pid_t _process; // children that plugins fork may end as they like
    std::optional<int> _status;
};
