#pragma once

#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <limits>
#include <sys/types.h>

/**
 * A program run without a shell, in a session of its own: it has no terminal and no input, so that it cannot
 * wait for a person. One thread launches and waits; any thread may terminate it.
 */
class VXProcess
{
public:
    /** `workingFolder` may be null: the folder of this process. */
    VXProcess(const QString &program, const QList<QByteArray> &arguments, const QString &workingFolder = {});
    ~VXProcess();
    VXProcess(const VXProcess &) = delete;
    VXProcess &operator=(const VXProcess &) = delete;

    /** Files that it writes may not become larger than so many bytes: it is ended then. */
    void setLargestFile(qint64 bytes) { _largestFile = bytes; }

    /** Starts the program; output that is not captured counts as messages. @return 0, or the errno when it does not
     * start. */
    [[nodiscard]] int launch(bool capturesOutput);

    /**
     * Reads the captured output and waits for the end. More output than `maximumOutput` bytes ends the program.
     * @return the exit status, or the number of the signal that ended it; -1 when nothing ran or it is not known.
     */
    int waitUntilExit(QByteArray *output = nullptr, qsizetype maximumOutput = std::numeric_limits<qsizetype>::max());

    /** What the program said, on one line: the beginning of its standard error, and of its output when that was not
     *  captured. After waitUntilExit. */
    QString messages() const;

    /** Asks the program to end; does nothing when it does not run. */
    void terminate();

private:
    void readAll(QByteArray *output, qsizetype maximumOutput);

    const QByteArray _program;
    const QList<QByteArray> _arguments;
    const QByteArray _workingFolder;
    qint64 _largestFile = -1;
    int _outputDescriptor = -1; // this and what follows: the launching thread's
    int _messageDescriptor = -1;
    QByteArray _messages;

    VXMutex _lock;
    pid_t _identifier VX_GUARDED_BY(_lock) = 0; // 0 when it does not run
};
