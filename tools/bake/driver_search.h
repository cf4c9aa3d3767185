// DriverSearch: where display drivers are looked for, and under which names.
//
// Units      none.
// Errors     throws std::bad_alloc; folders that do not exist are not an error.
// Ownership  all answers are copies.
// Threads    one caller at a time: the environment is read.

#pragma once

#include <string>
#include <vector>

namespace bake {

/// The folders in their order: those of `option`, a list "FOLDER:FOLDER:...", those of the
/// environment variable LUMR_DRIVERPATH, the current one, and the one in which the package installs
/// drivers, next to this program. Each is at its place on this machine (tools/common/start.h).
std::vector<std::string> DriverFolders(const std::string& option);

/// What a driver called `name` may be called as a file: `name`, with ".so", and with "d_" besides;
/// what ends with ".so" is such a file's name already.
std::vector<std::string> DriverFileNames(const std::string& name);

}  // namespace bake
