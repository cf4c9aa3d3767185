// ValueFile: floats of many points in a temporary file, piece by piece.
//
// Units      floats, counted from 0.
// Errors     a Failure with the system's reason.
// Ownership  owns its file, which has no name.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <span>

#include "tools/common/spool.h"

namespace lighting {

class ValueFile {
public:
    void Write(std::int64_t first, std::span<const float> values) const;

    /// Caller: has written these.
    void Read(std::int64_t first, std::span<float> values) const;

private:
    Spool spool_;
};

}  // namespace lighting
