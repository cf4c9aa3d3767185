// `OwnedDescriptor`: a descriptor that is closed with its owner.
//
// Units      none.
// Errors     none: what close(2) answers is dropped, so files that are written are not closed here.
//            errno stays as it is.
// Ownership  owns the descriptor.
// Threads    one caller at a time.

#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~OwnedDescriptor() { Reset(); }
    OwnedDescriptor(OwnedDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.descriptor_, -1));
        return *this;
    }

    /// -1: there is none.
    int Number() const { return descriptor_; }
    bool IsOpen() const { return descriptor_ >= 0; }

    /// Closes what it has, and owns `descriptor` from now on.
    void Reset(int descriptor = -1) {
        const int error = errno;
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = descriptor;
        errno = error;
    }

    /// Gives it away.
    int Release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};
