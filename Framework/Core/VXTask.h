#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <functional>
#include <limits>
#include <memory>

class VXProcess;

/**
 * Work done by other programs on a thread of its own, which keeps the task alive. At the end the delegate is notified
 * on the main thread. Any thread may query and cancel; the delegate belongs to the main thread.
 */
class VX_EXPORT VXTask : public std::enable_shared_from_this<VXTask>
{
public:
    using Ptr = std::shared_ptr<VXTask>;

    virtual ~VXTask();
    VXTask(const VXTask &) = delete;
    VXTask &operator=(const VXTask &) = delete;

    /** Why the last work failed; none while it is running and after a success. */
    VXError error() const;

    /** Where to put the result, set before the work starts; afterwards the path of the result. */
    QString destinationPath() const;
    void setDestinationPath(const QString &path);

    /** The object to be notified at the end; not owned, null when gone or none. Main thread only. */
    QObject *delegate() const { return _delegate; }
    void setDelegate(QObject *delegate) { _delegate = delegate; }

    /** True from the start of the work until the delegate is about to be notified; false once the application object is
     *  gone, and then the error is the cancelled one, unless the work had another. */
    bool isRunning() const;

    /** Ends the running program, or the next one that the work would start. The delegate is notified nevertheless. */
    void cancel();
    bool didCancel() const;

protected:
    /** The status of a program that does not start. */
    static constexpr int couldNotStart = 127;

    VXTask();

    /**
     * Runs `work` on a new thread, then `completion` on the main thread. Clears the error and the cancelled flag.
     * Asserts "Task already running".
     */
    void start(std::function<void()> work, std::function<void()> completion);

    /** A program to run. Limits the output, if asked for, and each file that the program writes, in bytes. */
    struct Run
    {
        QString program;
        QList<QByteArray> arguments;
        QString workingFolder = {};
        QByteArray *output = nullptr;
        qsizetype maximumOutput = std::numeric_limits<qsizetype>::max();
        qint64 largestFile = -1; // -1 for unlimited
    };

    /** Runs a program to its end, on the worker. A failure is logged with the program's messages. @return its exit
     *  status, the signal that ended it, or couldNotStart. */
    int runProgram(const Run &run);

    void setError(const VXError &error);

    /** Main thread: calls the delegate's operation with that argument, if it has one. */
    void tellDelegate(const QByteArray &operation, const QVariant &argument) const;

private:
    static void handOver(Ptr task, std::function<void()> completion);
    void finish(const std::function<void()> &completion);

    QPointer<QObject> _delegate; // main thread only

    mutable VXMutex _lock;
    std::shared_ptr<VXProcess> _process VX_GUARDED_BY(_lock); // the running program
    VXError _error VX_GUARDED_BY(_lock);
    QString _destinationPath VX_GUARDED_BY(_lock);
    bool _didCancel VX_GUARDED_BY(_lock) = false;
    bool _isRunning VX_GUARDED_BY(_lock) = false;
};
