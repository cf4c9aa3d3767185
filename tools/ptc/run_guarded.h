// Running one command: what it throws becomes one line on standard error.

#pragma once

#include <cstdio>
#include <exception>
#include <new>

/// Runs `work` and answers its exit status, 1 when it failed.
template <class Work>
int RunGuarded(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        std::fputs("ptc: out of memory\n", stderr);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "ptc: %s\n", failure.what());
    }
    return 1;
}
