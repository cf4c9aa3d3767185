// PlyRows: binary rows of fixed length, decoded column by column.
//
// Units      slots as in ColumnMap; bytes of red, green and blue become light.
// Errors     none.
// Ownership  borrows nothing.
// Threads    any.
//
// Types, places and byte order are looked up once, and each column is then one loop over the rows:
// four to five times as fast as asking for the type of every value.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/picture/srgb.h"
#include "tools/ptc/convert/ply_header.h"

namespace convert {

/// What a property's values become.
struct PlyTarget {
    std::int32_t slot = -1;  ///< -1: nothing
    bool is_screen = false;  ///< they are bytes of red, green or blue
};

class PlyRows {
public:
    /// `targets`: one for each property.
    PlyRows(const PlyElement& element, PlyEncoding encoding, const std::vector<PlyTarget>& targets);

    /// Bytes of a row; 0 where rows have none, or are text or hold lists and have no fixed length.
    std::size_t RowBytes() const { return row_bytes_; }

    /// Decodes `count` rows into the slots of as many, `stride` apart. Slots without a column stay
    /// as they are. Caller: RowBytes() is not 0.
    void Decode(const std::byte* rows, std::size_t count, std::span<float> slots,
                std::size_t stride) const;

private:
    struct Column {
        std::size_t offset;  ///< in a row's bytes
        PlyType type;
        PlyTarget target;
    };

    std::vector<Column> columns_;
    std::size_t row_bytes_ = 0;
    bool is_big_endian_ = false;
    Srgb srgb_;
};

}  // namespace convert
