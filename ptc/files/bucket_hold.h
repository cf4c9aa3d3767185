// UtFileManager::BucketHold -- holds one bucket's lock for a scope, and proves that it is held.
//
// clang's analysis cannot name the lock, because a file decides which of the 512 it is. Functions
// that need the lock take a BucketHold as an argument. Part of the manager's implementation.

#pragma once

#include "ptc/files/file_manager.h"

class UtFileManager::BucketHold : public TgUncopyable {
public:
    /// `hash`: a name's hash, a file's identity or a bucket's number. Only the low bits are used,
    /// and these are equal in all three.
    [[nodiscard]] BucketHold(UtFileManager& manager, std::uint32_t hash) noexcept
        : guard_(manager.bucket_locks_[hash & (manager.sizes_.buckets - 1) & (kBucketLocks - 1)]) {}

private:
    TgSpinGuard guard_;
};
