#include "VXSQLiteConnectionPool.h"

#include "VXObjectStoreError.h"

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumIdle = 8;

} // namespace

VXSQLiteConnectionPool::Lease VXSQLiteConnectionPool::borrow(VXError *error)
{
    {
        const VXMutexLocker lock(_lock);
        if (_isClosed) {
            VXSetError(error, VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore, u"The store cannot be used."_s,
                                                 u"It is closed."_s, _path));
            return {nullptr, Return{this}};
        }
        if (!_idle.empty()) {
            Lease lease(_idle.back().release(), Return{this});
            _idle.pop_back();
            return lease;
        }
    }
    std::unique_ptr<VXSQLiteConnection> made =
        VXSQLiteConnection::open(_path, _access, _busyTimeout, _executions, error);
    // What these connections write need not survive a power cut by itself: see VXSQLiteStore::reserveNumbers.
    if (made && !made->execute(u"PRAGMA synchronous = NORMAL"_s, error))
        made.reset();
    return {made.release(), Return{this}};
}

void VXSQLiteConnectionPool::giveBack(VXSQLiteConnection *connection)
{
    std::unique_ptr<VXSQLiteConnection> returned(connection); // closed after the lock is released
    const VXMutexLocker lock(_lock);
    if (_idle.size() < maximumIdle && !_isClosed)
        _idle.push_back(std::move(returned));
}

void VXSQLiteConnectionPool::close()
{
    std::vector<std::unique_ptr<VXSQLiteConnection>> closed; // closed after the lock is released
    const VXMutexLocker lock(_lock);
    _isClosed = true;
    std::swap(closed, _idle);
}
