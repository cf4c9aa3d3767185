// `SystemReason`: the system's text for an errno value.
//
// Units      none.
// Errors     an unknown value gives a text that says so.
// Ownership  holds its text, or points to a text of the C library.
// Threads    any; each object is one thread's.

#pragma once

#include <cstring>

#include "util/base/uncopyable.h"

/// Allocates nothing, so that it can name the reason when memory has run out.
class SystemReason : public TgUncopyable {
public:
    explicit SystemReason(int error) : text_(strerror_r(error, room_, sizeof room_)) {}

    const char* c_str() const { return text_; }

private:
    char room_[128];
    const char* text_;
};
