// Annotations of locks, which clang checks at compile time; empty for every other compiler.
//
// scripts/lint turns the check on. It reports a guarded member that is used without its lock, and
// a lock that is taken twice or not released.
//
// Units      none.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

#if defined(__clang__)
#define UTIL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define UTIL_THREAD_ATTRIBUTE(x)
#endif

/// On a class: its objects are locks; clang's messages call them `name`.
#define UTIL_CAPABILITY(name) UTIL_THREAD_ATTRIBUTE(capability(name))

/// On a class: its objects hold a lock from their constructor to their destructor.
#define UTIL_SCOPED UTIL_THREAD_ATTRIBUTE(scoped_lockable)

/// On a member: used only while the lock is held. PT: the same for what the pointer points to.
#define UTIL_GUARDED_BY(lock) UTIL_THREAD_ATTRIBUTE(guarded_by(lock))
#define UTIL_PT_GUARDED_BY(lock) UTIL_THREAD_ATTRIBUTE(pt_guarded_by(lock))

/// On a function: takes the lock, releases it, or takes it if it returns the first argument.
#define UTIL_ACQUIRE(...) UTIL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define UTIL_RELEASE(...) UTIL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define UTIL_TRY_ACQUIRE(...) UTIL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))

/// On a function: its caller holds the lock, or must not hold it.
#define UTIL_REQUIRES(...) UTIL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define UTIL_EXCLUDES(...) UTIL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

/// On a function whose body clang cannot check, because it takes the system's own lock.
#define UTIL_NO_THREAD_ANALYSIS UTIL_THREAD_ATTRIBUTE(no_thread_safety_analysis)
