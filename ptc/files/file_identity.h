// Hash identities of files: never given out twice in a process, and alike for files of one name.
//
// An identity is what the block caches know a file by: two files with the same one would get each
// other's points. So its upper bits count, and only its low bits come from the name, for tables
// that find a file by either.
//
// Units      none.
// Errors     kNone when the identities of a name are used up, after a million of them.
// Ownership  none.
// Threads    any function from any thread at any time.

#pragma once

#include <cstdint>
#include <string_view>

namespace file_identity {

constexpr std::uint32_t kNone = 0;
/// What the caches call a block without a file. No file has it.
constexpr std::uint32_t kNoFile = 0xFFFFFFFF;

constexpr int kNameBits = 12;
/// Identity and name hash agree in these bits. Enough for the locks of the manager's buckets and
/// for the tables of threads that hold up to 4096 files.
constexpr std::uint32_t kNameMask = (1U << kNameBits) - 1;

std::uint32_t NameHash(std::string_view name) noexcept;

/// A fresh identity for a file whose name has `name_hash`; its low bits are enough.
std::uint32_t New(std::uint32_t name_hash) noexcept;

}  // namespace file_identity
