// A file in memory for readers.

#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "util/io/bytes.h"

class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::string bytes) : bytes_(std::move(bytes)) {}

    std::int64_t Read(std::span<std::byte> bytes) override {
        const std::size_t there =
            std::min(bytes.size(), bytes_.size() - std::min(at_, bytes_.size()));
        if (there) std::memcpy(bytes.data(), bytes_.data() + at_, there);
        at_ += there;
        return static_cast<std::int64_t>(there);
    }
    bool Seek(std::int64_t offset) override {
        at_ = static_cast<std::size_t>(offset);
        return true;
    }
    std::int64_t StoredBytes() const override { return static_cast<std::int64_t>(bytes_.size()); }
    bool IsCompressed() const override { return false; }
    int Error() const override { return 0; }

private:
    std::string bytes_;
    std::size_t at_ = 0;
};
