#pragma once

#include "VXObjectStoreExport.h"

#include <QtCore/QtGlobal>

#include <atomic>

/**
 * Lets somebody look on while another thread copies stores (VXPersistentStore::copyTo), and end that: an SQLite file ends between
 * pieces, with an error. Any thread.
 */
class VX_STORE_EXPORT VXCopyWatch
{
public:
    /** For its length what its thread copies is watched. */
    class VX_STORE_EXPORT Scope
    {
    public:
        explicit Scope(VXCopyWatch &watch);
        ~Scope();
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;

    private:
        VXCopyWatch *const _before;
    };

    VXCopyWatch() = default;
    VXCopyWatch(const VXCopyWatch &) = delete;
    VXCopyWatch &operator=(const VXCopyWatch &) = delete;

    void cancel() { _isCancelled = true; }
    bool isCancelled() const { return _isCancelled; }
    /** Bytes that were written. */
    qint64 done() const { return _done; }

    /** Of the thread's watch, if there is one. @return false when the copy is to end. */
    static bool note(qint64 bytes);

private:
    std::atomic<bool> _isCancelled = false;
    std::atomic<qint64> _done = 0;
};
