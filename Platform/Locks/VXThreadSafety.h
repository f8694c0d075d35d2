#pragma once

/**
 * Names for clang's thread-safety attributes; empty for other compilers. The clang build checks them with
 * -Wthread-safety, so a field marked VX_GUARDED_BY(_lock) cannot be accessed without that lock.
 */
#if defined(__clang__)
#define VX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VX_THREAD_ATTRIBUTE(x)
#endif

#define VX_CAPABILITY(name) VX_THREAD_ATTRIBUTE(capability(name))
#define VX_SCOPED_CAPABILITY VX_THREAD_ATTRIBUTE(scoped_lockable)
#define VX_GUARDED_BY(lock) VX_THREAD_ATTRIBUTE(guarded_by(lock))
#define VX_REQUIRES(...) VX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VX_EXCLUDES(...) VX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VX_ACQUIRE(...) VX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VX_TRY_ACQUIRE(...) VX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VX_RELEASE(...) VX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VX_RETURN_CAPABILITY(lock) VX_THREAD_ATTRIBUTE(lock_returned(lock))
#define VX_NO_THREAD_SAFETY_ANALYSIS VX_THREAD_ATTRIBUTE(no_thread_safety_analysis)
