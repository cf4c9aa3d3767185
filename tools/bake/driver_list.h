// ListDrivers: the shared objects along the path, and which of them are display drivers.

#pragma once

#include <string>
#include <vector>

namespace bake {

/// Prints a table of the files "*.so" in `folders`: the name that `--driver` takes for each, the
/// file, and what is wrong with it. Each is loaded in a process of its own, so one that crashes or
/// never returns is a row like any other. Throws Failure when standard output takes no more or the
/// system makes no process. Caller: the program has one thread.
void ListDrivers(const std::vector<std::string>& folders);

}  // namespace bake
