#include "VXFailingCallsShim.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

// Nothing here may allocate or use a library that is tested: it stands under all of them.

namespace {

VXCallFailure failure;          // set before `armed`
std::atomic<unsigned> armed{0}; // the kinds; 0 while calls pass
VXCallCounts *counts = nullptr; // set before `armed`
std::uintptr_t callerStart = 0, callerEnd = UINTPTR_MAX;

// The next definition of the function, which is the C library's or a sanitizer's.
template <class Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

enum class Verdict { Pass, Fail, FailFirst };

Verdict verdictOn(unsigned kind)
{
    if ((armed.load(std::memory_order_acquire) & kind) == 0)
        return Verdict::Pass;
    const unsigned long number = counts->counted.fetch_add(1) + 1;
    if (failure.number == 0 || number < failure.number || (number > failure.number && !failure.isLasting))
        return Verdict::Pass;
    counts->failed.fetch_add(1);
    counts->failedKinds.fetch_or(kind);
    if (failure.error == 0)
        ::kill(::getpid(), SIGKILL);
    errno = failure.error;
    return number == failure.number ? Verdict::FailFirst : Verdict::Fail;
}

bool fails(unsigned kind)
{
    return verdictOn(kind) != Verdict::Pass;
}

bool isRegularFile(int descriptor)
{
    struct stat status
    {
    };
    return descriptor > STDERR_FILENO && armed.load(std::memory_order_relaxed) != 0 &&
           ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// Over bytes that are there: a full disk has room for that.
bool needsNoRoom(int descriptor, std::size_t length, off_t offset)
{
    struct stat status
    {
    };
    const bool appends = (::fcntl(descriptor, F_GETFL) & O_APPEND) != 0;
    return failure.isLasting && !appends && ::fstat(descriptor, &status) == 0 &&
           offset + static_cast<off_t>(length) <= status.st_size;
}

// Writes through `write`, unless the call is to fail.
template <class Write>
ssize_t writeThrough(unsigned kind, int descriptor, std::size_t length, off_t offset, Write write)
{
    if (!isRegularFile(descriptor) || needsNoRoom(descriptor, length, offset))
        return write(length);
    const Verdict verdict = verdictOn(kind);
    if (verdict == Verdict::Pass)
        return write(length);
    if (verdict == Verdict::FailFirst && failure.isLasting && length > 1)
        return write(length / 2);
    return -1;
}

bool opensForWriting(int flags)
{
    return (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0;
}

int findCaller(dl_phdr_info *info, std::size_t, void *)
{
    if (std::strstr(info->dlpi_name, failure.caller) == nullptr)
        return 0;
    callerStart = UINTPTR_MAX;
    callerEnd = 0;
    for (int index = 0; index < info->dlpi_phnum; ++index) {
        const auto &part = info->dlpi_phdr[index];
        if (part.p_type != PT_LOAD)
            continue;
        callerStart = std::min<std::uintptr_t>(callerStart, info->dlpi_addr + part.p_vaddr);
        callerEnd = std::max<std::uintptr_t>(callerEnd, info->dlpi_addr + part.p_vaddr + part.p_memsz);
    }
    return 1;
}

bool mallocFails(const void *returnAddress)
{
    if ((armed.load(std::memory_order_relaxed) & VXCallMalloc) == 0)
        return false;
    const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
    return address >= callerStart && address < callerEnd && fails(VXCallMalloc);
}

unsigned long numberIn(const char *variable)
{
    const char *const text = std::getenv(variable);
    return text == nullptr ? 0 : std::strtoul(text, nullptr, 10);
}

[[gnu::constructor]] void armFromEnvironment()
{
    const char *const file = std::getenv("VORNIX_FAIL_COUNTS");
    const int descriptor = file == nullptr ? -1 : ::open(file, O_RDWR | O_CLOEXEC);
    if (descriptor < 0)
        return;
    void *const page = ::mmap(nullptr, sizeof(VXCallCounts), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    ::unsetenv("VORNIX_FAIL_COUNTS"); // not in programs that this one starts
    if (page == MAP_FAILED)
        return;
    const VXCallFailure asked{static_cast<unsigned>(numberIn("VORNIX_FAIL_CALLS")), numberIn("VORNIX_FAIL_NUMBER"),
                              static_cast<int>(numberIn("VORNIX_FAIL_ERROR")), numberIn("VORNIX_FAIL_LASTING") != 0,
                              nullptr};
    VXFailCalls(&asked, static_cast<VXCallCounts *>(page));
}

} // namespace

void VXFailCalls(const VXCallFailure *asked, VXCallCounts *where)
{
    failure = *asked;
    counts = where;
    if (failure.caller != nullptr)
        ::dl_iterate_phdr(findCaller, nullptr);
    armed.store(failure.kinds, std::memory_order_release);
}

// NOLINTBEGIN: the C library's names and signatures

extern "C" {

ssize_t write(int descriptor, const void *bytes, std::size_t length)
{
    static auto *const real = next<ssize_t(int, const void *, std::size_t)>("write");
    return writeThrough(VXCallWrite, descriptor, length, ::lseek(descriptor, 0, SEEK_CUR),
                        [&](std::size_t some) { return real(descriptor, bytes, some); });
}

ssize_t writev(int descriptor, const iovec *parts, int count)
{
    static auto *const real = next<ssize_t(int, const iovec *, int)>("writev");
    return isRegularFile(descriptor) && fails(VXCallWrite) ? -1 : real(descriptor, parts, count);
}

ssize_t pwrite(int descriptor, const void *bytes, std::size_t length, off_t offset)
{
    static auto *const real = next<ssize_t(int, const void *, std::size_t, off_t)>("pwrite");
    return writeThrough(VXCallPWrite, descriptor, length, offset,
                        [&](std::size_t some) { return real(descriptor, bytes, some, offset); });
}

ssize_t pwrite64(int descriptor, const void *bytes, std::size_t length, off64_t offset)
{
    return pwrite(descriptor, bytes, length, offset);
}

#define FAILING(kind, result, name, parameters, arguments)                                                             \
    result name parameters                                                                                             \
    {                                                                                                                  \
        static auto *const real = next<result parameters>(#name);                                                      \
        return fails(kind) ? -1 : real arguments;                                                                      \
    }

#define FAILING_ON_FILE(kind, result, name, parameters, arguments)                                                     \
    result name parameters                                                                                             \
    {                                                                                                                  \
        static auto *const real = next<result parameters>(#name);                                                      \
        return isRegularFile(descriptor) && fails(kind) ? -1 : real arguments;                                         \
    }

FAILING(VXCallSync, int, fsync, (int descriptor), (descriptor))
FAILING(VXCallSync, int, fdatasync, (int descriptor), (descriptor))
FAILING(VXCallSync, int, syncfs, (int descriptor), (descriptor))
FAILING(VXCallRename, int, rename, (const char *from, const char *to), (from, to))
FAILING(VXCallRename, int, renameat, (int fromFolder, const char *from, int toFolder, const char *to),
        (fromFolder, from, toFolder, to))
FAILING(VXCallRename, int, renameat2, (int fromFolder, const char *from, int toFolder, const char *to, unsigned flags),
        (fromFolder, from, toFolder, to, flags))
FAILING(VXCallRename, int, link, (const char *from, const char *to), (from, to))
FAILING(VXCallRename, int, linkat, (int fromFolder, const char *from, int toFolder, const char *to, int flags),
        (fromFolder, from, toFolder, to, flags))
FAILING(VXCallTruncate, int, truncate, (const char *path, off_t length), (path, length))
FAILING_ON_FILE(VXCallTruncate, int, ftruncate, (int descriptor, off_t length), (descriptor, length))
FAILING_ON_FILE(VXCallTruncate, int, ftruncate64, (int descriptor, off64_t length), (descriptor, length))
FAILING_ON_FILE(VXCallTruncate, int, fallocate, (int descriptor, int mode, off_t offset, off_t length),
                (descriptor, mode, offset, length))
FAILING(VXCallOpen, int, mkdir, (const char *path, mode_t mode), (path, mode))
FAILING(VXCallUnlink, int, unlink, (const char *path), (path))
FAILING(VXCallUnlink, int, unlinkat, (int folder, const char *path, int flags), (folder, path, flags))
FAILING(VXCallUnlink, int, rmdir, (const char *path), (path))
FAILING(VXCallUnlink, int, remove, (const char *path), (path))

int posix_fallocate(int descriptor, off_t offset, off_t length)
{
    static auto *const real = next<int(int, off_t, off_t)>("posix_fallocate");
    return isRegularFile(descriptor) && fails(VXCallTruncate) ? failure.error : real(descriptor, offset, length);
}

char *mkdtemp(char *path)
{
    static auto *const real = next<char *(char *)>("mkdtemp");
    return fails(VXCallOpen) ? nullptr : real(path);
}

#define OPENING(name, parameters, arguments)                                                                           \
    int name parameters                                                                                                \
    {                                                                                                                  \
        static auto *const real = next<int parameters>(#name);                                                         \
        va_list rest;                                                                                                  \
        va_start(rest, flags);                                                                                         \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;                           \
        va_end(rest);                                                                                                  \
        return opensForWriting(flags) && fails(VXCallOpen) ? -1 : real arguments;                                      \
    }

OPENING(open, (const char *path, int flags, ...), (path, flags, mode))
OPENING(open64, (const char *path, int flags, ...), (path, flags, mode))
OPENING(openat, (int folder, const char *path, int flags, ...), (folder, path, flags, mode))
OPENING(openat64, (int folder, const char *path, int flags, ...), (folder, path, flags, mode))

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);

// A sanitizer has its own, in front of these.
void *malloc(std::size_t size)
{
    return mallocFails(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    return mallocFails(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}

void *realloc(void *memory, std::size_t size)
{
    return mallocFails(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}

} // extern "C"

// NOLINTEND
