#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdio>

#include <sys/types.h>

/**
 * A program that a test needs beside it; ended with the object. Not a QProcess: its child runs in the memory of the thread
 * that starts it, after which the thread sanitizer no longer sees what that thread locks.
 */
class VXTestProcess
{
public:
    /** A command line for the shell, which it replaces. It ends with the thread that makes the object, too. */
    explicit VXTestProcess(const QString &command);
    ~VXTestProcess() { stop(); }
    VXTestProcess(const VXTestProcess &) = delete;
    VXTestProcess &operator=(const VXTestProcess &) = delete;

    /** The next line of its standard output, trimmed; waits for it. Empty at its end. */
    QByteArray readLine();
    /** False once it has ended by itself. */
    bool isRunning() const;
    /** Asks it to end, and waits for that. */
    void stop();

private:
    std::FILE *_output;
    pid_t _process;
};

/** A session bus of the test's own. */
class VXTestBus
{
public:
    explicit VXTestBus(const QString &socketPath);

    /** Empty when it could not be started. */
    QByteArray address() const { return _address; }
    void stop() { _process.stop(); }

private:
    VXTestProcess _process;
    const QByteArray _address;
};

/** An X server without a screen, on a display of its own, which DISPLAY names while it lives. */
class VXTestDisplay
{
public:
    VXTestDisplay();
    ~VXTestDisplay();

    /** False when it could not be started. */
    bool isUp() const { return !_number.isEmpty(); }
    void stop() { _process.stop(); }

private:
    VXTestProcess _process;
    const QByteArray _number;
    const QByteArray _displayBefore;
};
