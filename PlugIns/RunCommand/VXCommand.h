#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>

#include <chrono>
#include <memory>

/** How a command ended. */
struct VXCommandOutcome
{
    int startProblem = 0; // errno if it did not start
    int status = 0;       // exit status
    int signal = 0;       // that ended it
    bool isTimedOut = false;
    bool isStopped = false; // by someone who did not want to wait
    QByteArray errorTail;   // the last part of its standard error

    bool isSuccess() const { return startProblem == 0 && status == 0 && signal == 0 && !isTimedOut && !isStopped; }
};

/** Ends a program that is running, or will run. Any thread; may be used more than once. */
class VXCommandStop
{
public:
    VXCommandStop();
    ~VXCommandStop();
    VXCommandStop(const VXCommandStop &) = delete;
    VXCommandStop &operator=(const VXCommandStop &) = delete;

    void request() const;
    /** Readable once the stop was requested. */
    int descriptor() const { return _descriptor; }

private:
    const int _descriptor;
};

/** A program to run: everything is known in advance, so that any thread can run it. */
struct VXCommand
{
    QByteArray program;          // path
    QList<QByteArray> arguments; // without the program's name
    QList<QByteArray> environment;
    QByteArray input;
    QByteArray workingFolder;
    std::chrono::milliseconds timeout;
    std::shared_ptr<VXCommandStop> stop = {}; // null: nobody stops it

    /**
     * Runs it to its end, in a session and process group of its own. Its output is discarded. At the time-out, or when
     * it is stopped, the whole group is asked to end, and killed if it does not within two seconds. What the program
     * leaves behind when it ends by itself stays.
     */
    VXCommandOutcome run() const;
};
