// UtFileManager::BucketHold -- one bucket's lock held for one scope, and the proof of it.
//
// Which of the 512 locks it is depends on a file, so clang cannot name it. Functions that need it
// take the proof as an argument. Part of the manager's implementation.

#pragma once

#include "ptc/files/file_manager.h"

class UtFileManager::BucketHold : public TgUncopyable {
public:
    /// `hash`: a name's hash, or an identity, or a bucket's number: what counts are the low bits,
    /// in which all three agree.
    [[nodiscard]] BucketHold(UtFileManager& manager, std::uint32_t hash) noexcept
        : guard_(manager.bucket_locks_[hash & (manager.sizes_.buckets - 1) & (kBucketLocks - 1)]) {}

private:
    TgSpinGuard guard_;
};
