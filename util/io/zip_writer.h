// Writing zip archives: the same members give the same bytes.
//
// Every member has the same time, noon of the first day of 1980, which is a day that the format can
// store, and the attributes of a plain file. Members and archives may be larger than 4 GiB. Memory
// does not grow with the members' bytes.
//
// Units      bytes.
// Errors     false, and a ZipFailure says which file failed and why. Throws std::bad_alloc when
//            memory runs out.
// Ownership  files are open only while they are read or written.
// Threads    any; each call by itself.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// A member to be: a part of a file.
struct ZipInput {
    std::string name;   ///< of the member; at most 65,535 bytes, which need not be UTF-8
    std::string path;   ///< of the file
    std::string shown;  ///< what failures call the file
    std::int64_t offset = 0;
    std::int64_t bytes = 0;  ///< exactly as many; a file that has fewer is a failure
    int level = 0;           ///< of deflate, 1 to 9; 0: stored as it is
};

struct ZipFailure {
    std::string file;  ///< as the member shows it; empty: the archive
    std::string reason;
};

/// Writes an archive of `members`, at least one, to the file `path`, which exists and is empty.
/// `progress` is told how many bytes of all members are read; it must not throw.
[[nodiscard]] bool WriteZip(const std::vector<ZipInput>& members, const std::string& path,
                            const std::function<void(std::int64_t)>& progress, ZipFailure* failure);
