// CopyFile: a copy that appears under its name when it is whole.
//
// Units      none.
// Errors     false, with a text that names the file and the reason. Throws std::bad_alloc, and what
//            `look` throws.
// Ownership  none stays.
// Threads    any, as long as none changes the environment.
//
// The system's cp copies, because it shares blocks where the file system can, and copies within the
// machine that has the files where it cannot. Permissions and times are those of the original.

#pragma once

#include <functional>
#include <string>

/// Copies the regular file `from` to `to`, which is a new name, or a file that is replaced. `look`
/// is called several times a second meanwhile; what it throws ends the copying.
[[nodiscard]] bool CopyFile(
    const std::string& from, const std::string& to, std::string* failure,
    const std::function<void()>& look = [] {});
