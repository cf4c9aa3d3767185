// `ptc pack`: files in one zip archive, and of each cloud among them its header and its picture.
//
// Memory does not grow with the files. The same files give the same archive, wherever they are and
// whenever they were made.

#pragma once

#include <string>
#include <vector>

namespace pack {

struct PackOptions {
    std::string output;  ///< "-": standard output
    std::vector<std::string> files;
    bool stores = false;  ///< nothing is compressed
    bool leaves_out_headers = false;
    bool leaves_out_pictures = false;
};

/// What a member for the file `path` is called: the last component of its name. Empty: it has none.
std::string MemberNameOf(const std::string& path);

/// Writes the archive and reports it. Throws Failure; then nothing is written.
/// Caller: every file has a member's name.
void Pack(const PackOptions& options);

}  // namespace pack
