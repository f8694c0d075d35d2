#pragma once

#include "VXFrameworkExport.h"
#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <memory>
#include <vector>

class VXFileHandle;
class VXSystemLogClient;

/** Log levels: the priorities of the system log service (RFC 5424). Numbers above 7 are allowed. */
enum VXLogLevel : unsigned {
    VXLogFatal = 0,
    VXLogAlert = 1,
    VXLogCritical = 2,
    VXLogError = 3,
    VXLogWarning = 4,
    VXLogNotice = 5,
    VXLogInfo = 6,
    VXLogDebug = 7,
};

/**
 * The logger. Every problem and trace goes through the class operation `log`; it writes the message to the system log
 * (levels 0 to 6) and, as a line with date, process, thread and level, to "error.log" in the user's logs folder.
 * Loggers are kept per thread; one lock for all of them keeps lines whole. Logging never fails for its caller: the
 * logger's own problems go to the console.
 */
class VX_EXPORT VXLog
{
public:
    /** Logs through the calling thread's default logger (even while the thread is ending and has none any more); on
     *  systems before 10.5 to the console only. */
    static void log(unsigned level, const QString &message);

    /**
     * The calling thread's logger for a file, or its default logger for a null path. Made on first use, when a file of
     * more than 2 MB is moved to its backup name (path + ".1"). Owned by the thread. @return nullptr when the file
     * cannot be appended to (the default logger then still has the system log), or the thread is about to end.
     */
    static VXLog *logWithFilePath(const QString &path);

    /** "FATAL" to "DEBUG"; "Level N" for 8 and above. */
    static QString logLevelString(unsigned level);

    /** Also writes each line of every thread to this file descriptor (not owned; -1 for none), with control characters
     *  made visible. */
    static void setEchoDescriptor(int descriptor);

    /** A logger with a system log client and, if it can be appended to, the default log file. */
    static std::unique_ptr<VXLog> initWithSystemLog(std::unique_ptr<VXSystemLogClient> client);
    /** A logger for one file, without the system log; null when the file cannot be appended to. */
    static std::unique_ptr<VXLog> initWithFilePath(const QString &path);

    ~VXLog();
    VXLog(const VXLog &) = delete;
    VXLog &operator=(const VXLog &) = delete;

    /** Adds an open file, unless it was added before. A null handle fails an assertion, "nil file handle". */
    void addFileHandle(const std::shared_ptr<VXFileHandle> &handle);
    /** Releases the files; those that others share are not closed. */
    void removeFileHandles();

    /** The line for files, including the line feed; a null message is left out. Further lines of a message begin with a
     *  tab, so that none of them looks like an entry. */
    QString formatForLog(unsigned level, const QString &message) const;

    /** Writes one message to every file and to the system log. After a failed write, does nothing from 60 seconds on.
     *  */
    void logMessage(unsigned level, const QString &message);

private:
    VXLog();

    void writeLine(const QByteArray &line);

    std::unique_ptr<VXSystemLogClient> _systemLogClient;
    std::vector<std::shared_ptr<VXFileHandle>> _fileHandles;
    QDateTime _exceptionDate;
};
