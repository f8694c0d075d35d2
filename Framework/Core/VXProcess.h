#pragma once

#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <limits>
#include <sys/types.h>

/**
 * A program run without a shell, in a session of its own: it has no terminal and no input, so that it cannot
 * wait for a person. Its standard error is dropped. One thread launches and waits; any thread may terminate it.
 */
class VXProcess
{
public:
    /** `workingFolder` may be null: the folder of this process. */
    VXProcess(const QString &program, const QList<QByteArray> &arguments, const QString &workingFolder = {});
    ~VXProcess();
    VXProcess(const VXProcess &) = delete;
    VXProcess &operator=(const VXProcess &) = delete;

    /** Starts the program; its output is dropped unless it is captured. @return 0, or the errno when it does
     * not start. */
    [[nodiscard]] int launch(bool capturesOutput);

    /**
     * Reads the captured output and waits for the end. More output than `maximumOutput` bytes ends the program.
     * @return the exit status, or the number of the signal that ended it; -1 when nothing ran or it is not known.
     */
    int waitUntilExit(QByteArray *output = nullptr, qsizetype maximumOutput = std::numeric_limits<qsizetype>::max());

    /** Asks the program to end; does nothing when it does not run. */
    void terminate();

private:
    void readOutput(QByteArray *output, qsizetype maximumOutput);

    const QByteArray _program;
    const QList<QByteArray> _arguments;
    const QByteArray _workingFolder;
    int _outputDescriptor = -1; // the launching thread's

    VXMutex _lock;
    pid_t _identifier VX_GUARDED_BY(_lock) = 0; // 0 when it does not run
};
