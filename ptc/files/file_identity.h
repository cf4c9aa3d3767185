// Identities of files: a process never gives out one twice. Its low bits come from the file's name.
//
// The block caches use the identity as the file's key: two files with the same identity would get
// each other's points. So the upper bits are a counter. Only the low bits come from the name, so
// that a hash table can find a file by its identity or by its name.
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
/// The identity in the key of a block without a file. No file has it.
constexpr std::uint32_t kNoFile = 0xFFFFFFFF;

constexpr int kNameBits = 12;
/// An identity and the hash of its file's name are equal in these bits. They are enough to choose
/// the lock of a manager's bucket, and to address a thread's table of up to 4096 slots.
constexpr std::uint32_t kNameMask = (1U << kNameBits) - 1;

std::uint32_t NameHash(std::string_view name) noexcept;

/// A new identity for a file whose name has `name_hash`. Only the low bits of the hash are used,
/// so an identity of the same file serves as well.
std::uint32_t New(std::uint32_t name_hash) noexcept;

}  // namespace file_identity
