#pragma once

#include <atomic>

/** Families of calls that can be made to fail, as bits. Only those that change files, and only on regular files. */
enum VXCallKind : unsigned {
    VXCallWrite = 1,     // write, writev
    VXCallPWrite = 2,    // pwrite
    VXCallSync = 4,      // fsync, fdatasync, syncfs
    VXCallRename = 8,    // rename, renameat, renameat2, link, linkat
    VXCallTruncate = 16, // truncate, ftruncate, fallocate, posix_fallocate
    VXCallOpen = 32,     // open and openat for writing, mkdir, mkdtemp
    VXCallUnlink = 64,   // unlink, unlinkat, rmdir, remove
    VXCallMalloc = 128,  // malloc, calloc, realloc
    VXCallFiles = 127,   // all but the last
};

/** Which call fails, and how. All of a process's threads count together. */
struct VXCallFailure
{
    unsigned kinds = 0;           // VXCallKind
    unsigned long number = 0;     // 1 for the first; 0 for none, when calls are only counted
    int error = 0;                // an errno; 0 kills the process in place of the call
    bool isLasting = false;       // all later ones fail as well; the first to fail writes half, as on a full disk
    const char *caller = nullptr; // part of the name of the library whose calls count (for malloc); null for any
};

/** Calls so far; in memory that processes share. */
struct VXCallCounts
{
    std::atomic<unsigned long> counted;
    std::atomic<unsigned long> failed;
    std::atomic<unsigned> failedKinds; // VXCallKind
};

/**
 * From now on calls of this process fail so. A process that is not linked with the shim has it by LD_PRELOAD, and these
 * environment variables: VORNIX_FAIL_CALLS (the kinds, a number), VORNIX_FAIL_NUMBER, VORNIX_FAIL_ERROR,
 * VORNIX_FAIL_LASTING (1), VORNIX_FAIL_COUNTS (a file of the size of VXCallCounts).
 */
extern "C" void VXFailCalls(const VXCallFailure *failure, VXCallCounts *counts);
