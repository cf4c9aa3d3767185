// The size that a picture must have to be compared with another.

#pragma once

#include <fmt/format.h>

#include <cstdint>

#include "tools/common/failure.h"

/// Throws a Failure, which does not name the file, unless both sides agree.
inline void RequireSize(std::int64_t width, std::int64_t height, int wanted_width,
                        int wanted_height) {
    if (width == wanted_width && height == wanted_height) return;
    throw Failure(
        fmt::format("is {}x{} pixels, not {}x{}", width, height, wanted_width, wanted_height));
}
