// Lock contracts that clang checks at compile time; empty for every other compiler.
//
// scripts/lint turns that on: it refuses a guarded member that is read without its lock and a
// lock that is taken twice or left behind.

#pragma once

#if defined(__clang__)
#define UTIL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define UTIL_THREAD_ATTRIBUTE(x)
#endif

/// On a class: its objects are locks, called `name` in clang's messages.
#define UTIL_CAPABILITY(name) UTIL_THREAD_ATTRIBUTE(capability(name))

/// On a class: its objects hold a lock from their constructor to their destructor.
#define UTIL_SCOPED UTIL_THREAD_ATTRIBUTE(scoped_lockable)

/// On a member: touched only while the lock is held. PT: what the pointer points to.
#define UTIL_GUARDED_BY(lock) UTIL_THREAD_ATTRIBUTE(guarded_by(lock))
#define UTIL_PT_GUARDED_BY(lock) UTIL_THREAD_ATTRIBUTE(pt_guarded_by(lock))

/// On a function: takes the lock, gives it back, or takes it when it answers the first argument.
#define UTIL_ACQUIRE(...) UTIL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define UTIL_RELEASE(...) UTIL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define UTIL_TRY_ACQUIRE(...) UTIL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))

/// On a function: its caller holds the lock, or must not hold it.
#define UTIL_REQUIRES(...) UTIL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define UTIL_EXCLUDES(...) UTIL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

/// On a function whose body clang cannot follow: the one that calls the system's own lock.
#define UTIL_NO_THREAD_ANALYSIS UTIL_THREAD_ATTRIBUTE(no_thread_safety_analysis)
