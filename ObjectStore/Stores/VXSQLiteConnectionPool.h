#pragma once

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

    /** To be called before the first connection is borrowed. */
    void setAccess(VXSQLiteConnection::Access access) { _access = access; }

    struct Return
    {
        VXSQLiteConnectionPool *pool;
        void operator()(VXSQLiteConnection *connection) const { pool->giveBack(connection); }
    };
    using Lease = std::unique_ptr<VXSQLiteConnection, Return>;
    /** Opens another connection when all are in use. @return null on failure. */
    Lease borrow(VXError *error);
    /** Lends no more connections. Those that are lent are closed when they are returned. */
    void close();

private:
    void giveBack(VXSQLiteConnection *connection);

    const QString _path;
    const std::chrono::milliseconds _busyTimeout;
    std::atomic<qint64> *const _executions;
    VXSQLiteConnection::Access _access = VXSQLiteConnection::Access::Read;
    VXMutex _lock;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
    std::vector<std::unique_ptr<VXSQLiteConnection>> _idle VX_GUARDED_BY(_lock); // the one used last is last
};
