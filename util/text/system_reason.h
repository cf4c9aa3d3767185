// The system's words for an errno, without memory of its own.

#pragma once

#include <cstring>

#include "util/base/uncopyable.h"

/// Allocates nothing, so that a line about missing memory still comes out.
class SystemReason : public TgUncopyable {
public:
    explicit SystemReason(int error) : text_(strerror_r(error, room_, sizeof room_)) {}

    const char* c_str() const { return text_; }

private:
    char room_[128];
    const char* text_;
};
