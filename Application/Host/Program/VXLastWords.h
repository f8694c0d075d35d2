#pragma once

#include <QtCore/QString>

#include <atomic>
#include <optional>
#include <sys/types.h>

class VXHostOutput;

/**
 * Tells on standard error when the program comes to a sudden end among its plugins: a crash, or a plugin that calls exit()
 * or a relative of it; which plugin's code it was, wherever it was called from, and which one was at work then. After an
 * exit() the user's changes are saved, the answer is written, and the exit status tells the truth. Crashes end the process
 * with their signal, as they would without. One at a time.
 */
class VXLastWords
{
public:
    /** The output must live as long as the object. */
    explicit VXLastWords(VXHostOutput &output);
    ~VXLastWords();
    VXLastWords(const VXLastWords &) = delete;
    VXLastWords &operator=(const VXLastWords &) = delete;

    /** The command is done, and its answer written: the status that the program ends with, whatever a plugin asks for. */
    void setStatus(int status) { _status = status; }

    /** What exit() and its relatives call first, on any thread. Does not return where there is something to tell. */
    static void atExit();

private:
    static QString textOfExit();
    static void tellOfCrash(int signal);
    static void finishCrash(int signal);
    static void setCrashHandler(void (*handler)(int));
    [[noreturn]] void tellOfExit();

    static std::atomic<VXLastWords *> _current;

    VXHostOutput &_output;
    const pid_t _process; // children that plugins fork end as they like
    std::optional<int> _status;
};
