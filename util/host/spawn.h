// SpawnProcess: posix_spawn(3) with what a child of ours begins with.
//
// Units      none.
// Errors     an errno value, 0 for success. Throws std::bad_alloc.
// Ownership  borrows everything; the caller waits for the process.
// Threads    any, as long as none changes the environment.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// The variables of this process with `changes` ("NAME=value") added or put in their places; of two
/// changes with one name the later one counts.
std::vector<std::string> ChangedEnvironment(const std::vector<std::string>& changes);

struct SpawnPlan {
    const std::vector<std::string>* arguments;
    const std::vector<std::string>* environment;
    int folder = -1;  ///< descriptor of the folder to start in; -1: this process's
    int output = -1;  ///< descriptor of standard output and error; -1: this process's
};

/// Starts the process in a group of its own, with the default action for every signal, none
/// blocked, an empty standard input and no descriptor above the three standard ones.
[[nodiscard]] int SpawnProcess(const SpawnPlan& plan, pid_t* process);
