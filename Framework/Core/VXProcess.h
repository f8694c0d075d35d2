#pragma once

#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <limits>
#include <sys/types.h>

/**
 * Runs a program without a shell, in a session of its own: it has no terminal and no input, so it cannot wait for a
 * person. One thread launches it and waits; any thread may terminate it.
 */
class VXProcess
{
public:
    /** `workingFolder` may be null, which means that of this process. */
    VXProcess(const QString &program, const QList<QByteArray> &arguments, const QString &workingFolder = {});
    ~VXProcess();
    VXProcess(const VXProcess &) = delete;
    VXProcess &operator=(const VXProcess &) = delete;

    /** Limits the size of files that the program writes; if it exceeds the limit, it is ended. */
    void setLargestFile(qint64 bytes) { _largestFile = bytes; }

    /** Starts the program; output that is not captured is treated as messages. @return 0, or an errno when it cannot be
     *  started. */
    [[nodiscard]] int launch(bool capturesOutput);

    /**
     * Reads the captured output and waits for the end. If the output exceeds `maximumOutput` bytes, the program is
     * ended. @return the exit status, or the number of the signal that ended it; -1 when nothing ran or the status is
     * unknown.
     */
    int waitUntilExit(QByteArray *output = nullptr, qsizetype maximumOutput = std::numeric_limits<qsizetype>::max());

    /** The program's messages on one line: the beginning of its standard error, and of its output when that was not
     *  captured. Valid after waitUntilExit. */
    QString messages() const;

    /** Asks the program to end; does nothing when it is not running. */
    void terminate();

private:
    void readAll(QByteArray *output, qsizetype maximumOutput);

    const QByteArray _program;
    const QList<QByteArray> _arguments;
    const QByteArray _workingFolder;
    qint64 _largestFile = -1;
    int _outputDescriptor = -1; // this and _messageDescriptor, _messages: the launching thread only
    int _messageDescriptor = -1;
    QByteArray _messages;

    VXMutex _lock;
    pid_t _identifier VX_GUARDED_BY(_lock) = 0; // 0 when not running
};
