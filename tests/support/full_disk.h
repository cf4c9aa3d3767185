// A disk in memory that fills up: the sink that makes every failure reachable.

#pragma once

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "util/io/bytes.h"

/// Bytes that outlive the sink that wrote them.
using DiskBytes = std::shared_ptr<std::vector<std::byte>>;

inline std::string TextOf(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Takes writes until `room` bytes are in the file; overwriting costs nothing, like on a real disk.
/// A write that does not fit leaves the part that does.
class FullDisk : public ByteSink {
public:
    explicit FullDisk(std::size_t room,
                      DiskBytes bytes = std::make_shared<DiskBytes::element_type>())
        : room_(room), bytes_(std::move(bytes)) {}

    bool Write(std::span<const std::byte> bytes) override {
        const std::size_t fits = std::min(bytes.size(), room_ > at_ ? room_ - at_ : 0);
        bytes_->resize(std::max(bytes_->size(), at_ + fits));
        std::copy_n(bytes.begin(), fits, bytes_->begin() + static_cast<std::ptrdiff_t>(at_));
        at_ += fits;
        if (fits == bytes.size()) return true;
        error_ = ENOSPC;
        return false;
    }
    bool Seek(std::int64_t offset) override {
        at_ = static_cast<std::size_t>(offset);
        return true;
    }
    bool SeekToEnd() override { return Seek(static_cast<std::int64_t>(bytes_->size())); }
    std::int64_t Tell() override { return static_cast<std::int64_t>(at_); }
    bool Close() override { return true; }
    int Error() const override { return error_; }

private:
    std::size_t room_;
    std::size_t at_ = 0;
    int error_ = 0;
    DiskBytes bytes_;
};
