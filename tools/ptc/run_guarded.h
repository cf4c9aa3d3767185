// Running one command: what it throws becomes one line on standard error.

#pragma once

#include <exception>

#include "tools/common/standard_streams.h"

/// Runs `work`. The answer: its exit status, 1 when it failed.
template <class Work>
int RunGuarded(Work work) {
    try {
        return work();
    } catch (const std::exception& failure) {
        TellFailure("ptc", failure);
    }
    return 1;
}
