// The counters of the identities: one for each value of the low bits.
//
// They belong to the process and not to the manager: a manager that is made after a shut-down must
// not give out the first identities again.

#include "ptc/files/file_identity.h"

#include <array>
#include <atomic>
#include <functional>

namespace file_identity {
namespace {

/// One less than the largest count, which would make kNoFile where the low bits are all set.
constexpr std::uint32_t kLastCount = (kNoFile >> kNameBits) - 1;

constinit std::array<std::atomic<std::uint32_t>, kNameMask + 1> given_out{};

}  // namespace

std::uint32_t NameHash(std::string_view name) noexcept {
    const std::size_t hash = std::hash<std::string_view>{}(name);
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

std::uint32_t New(std::uint32_t name_hash) noexcept {
    const std::uint32_t low = name_hash & kNameMask;
    std::atomic<std::uint32_t>& counter = given_out[low];
    std::uint32_t count = counter.load(std::memory_order_relaxed);
    do {
        if (count == kLastCount) return kNone;
    } while (!counter.compare_exchange_weak(count, count + 1, std::memory_order_relaxed));
    return (count + 1) << kNameBits | low;
}

}  // namespace file_identity
