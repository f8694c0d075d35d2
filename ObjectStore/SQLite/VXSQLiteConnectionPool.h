#pragma once

#include "VXFileStamp.h"
#include "VXMutex.h"
#include "VXSQLiteConnection.h"

#include <chrono>
#include <memory>
#include <vector>

/** Connections to one file, each lent to one thread at a time, so that readers run in parallel. Any thread. */
class VXSQLiteConnectionPool
{
public:
    VXSQLiteConnectionPool(const QString &path, std::chrono::milliseconds busyTimeout, std::atomic<qint64> *executions)
        : _path(path), _busyTimeout(busyTimeout), _executions(executions)
    {
    }

    /** For who writes the file too; else connections are VXSQLiteFile::accessForReaders. Before the first is borrowed. */
    void setWriting() { _isWriting = true; }

    struct Return
    {
        VXSQLiteConnectionPool *pool;
        int generation;
        void operator()(VXSQLiteConnection *connection) const { pool->giveBack(connection, generation); }
    };
    using Lease = std::unique_ptr<VXSQLiteConnection, Return>;
    /** Opens another connection when all are in use. @return null on failure. */
    Lease borrow(VXError *error);
    /** Lends no more connections. Those that are lent are closed when they are returned. */
    void close();

private:
    using Connections = std::vector<std::unique_ptr<VXSQLiteConnection>>;

    void giveBack(VXSQLiteConnection *connection, int generation);
    /** @return the connections that show the file as it was before, to be closed without the lock. */
    Connections lookAtFile() VX_REQUIRES(_lock);

    const QString _path;
    const std::chrono::milliseconds _busyTimeout;
    std::atomic<qint64> *const _executions;
    bool _isWriting = false;
    VXMutex _lock;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
    VXSQLiteConnection::Access _access VX_GUARDED_BY(_lock) = VXSQLiteConnection::Access::Write;
    VXFileStamp _stamp VX_GUARDED_BY(_lock);  // of the file that is taken for immutable
    int _generation VX_GUARDED_BY(_lock) = 0; // of connections that show the file as it is
    Connections _idle VX_GUARDED_BY(_lock);   // of that generation; the one used last at the end
};
