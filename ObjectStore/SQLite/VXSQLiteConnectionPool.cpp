#include "VXSQLiteConnectionPool.h"

#include "VXSQLiteFile.h"
#include "VXStoreErrors.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumIdle = 8;

} // namespace

// What is open as immutable shows the file as it was, and damage once it is written: by who keeps a log, elsewhere, as in a
// folder that is mounted here to be read only. A log that has come is followed by all, and brought into the file behind them.
VXSQLiteConnectionPool::Connections VXSQLiteConnectionPool::lookAtFile()
{
    using Access = VXSQLiteConnection::Access;
    if (_isWriting || (_access == Access::Query && !_idle.empty()))
        return {};
    const Access access = VXSQLiteFile::accessForReaders(_path);
    const VXFileStamp stamp = access == Access::Immutable ? VXFileStamp::ofPath(_path) : VXFileStamp();
    if (access == _access && stamp == _stamp)
        return {};
    _access = access;
    _stamp = stamp;
    ++_generation;
    return std::exchange(_idle, {});
}

VXSQLiteConnectionPool::Lease VXSQLiteConnectionPool::borrow(VXError *error)
{
    Connections outdated; // closed without the lock
    VXSQLiteConnection::Access access = VXSQLiteConnection::Access::Write;
    int generation = 0;
    {
        const VXMutexLocker lock(_lock);
        if (_isClosed) {
            VXSetError(error, VXClosedStoreError(_path));
            return {nullptr, Return{this, 0}};
        }
        outdated = lookAtFile();
        access = _access;
        generation = _generation;
        if (!_idle.empty()) {
            Lease lease(_idle.back().release(), Return{this, generation});
            _idle.pop_back();
            return lease;
        }
    }
    std::unique_ptr<VXSQLiteConnection> made =
        VXSQLiteConnection::open(_path, access, _busyTimeout, _executions, error);
    // What is written through these need not outlast a power cut by itself: see VXSQLiteStore::reserveNumbers.
    // Who saves merges the log.
    if (made && !(made->execute(u"PRAGMA synchronous = NORMAL"_s, error) &&
                  made->execute(u"PRAGMA wal_autocheckpoint = 0"_s, error)))
        made.reset();
    // Of a file of our own the writer, which could spread damage, looks at all cells of each page that it reads; readers look
    // at those that they come to, since they read the pages of a file larger than their memory again for each fetch.
    if (made && access == VXSQLiteConnection::Access::Write && !made->execute(u"PRAGMA cell_size_check = OFF"_s, error))
        made.reset();
    return {made.release(), Return{this, generation}};
}

void VXSQLiteConnectionPool::giveBack(VXSQLiteConnection *connection, int generation)
{
    std::unique_ptr<VXSQLiteConnection> returned(connection); // closed after the lock is released
    const VXMutexLocker lock(_lock);
    if (_idle.size() < maximumIdle && !_isClosed && generation == _generation)
        _idle.push_back(std::move(returned));
}

void VXSQLiteConnectionPool::close()
{
    Connections closed; // without the lock
    const VXMutexLocker lock(_lock);
    _isClosed = true;
    std::swap(closed, _idle);
}
