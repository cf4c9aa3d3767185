// RowBuilder: the values of one table row, put together to a record.
//
// Units      slots as in ColumnMap.
// Errors     a TableError.
// Ownership  owns its slots; borrows the map.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ptc/format/normal_decode.h"
#include "tools/ptc/convert/columns.h"

namespace convert {

class RowBuilder {
public:
    /// `radius`: of every point of a table without radii.
    RowBuilder(const ColumnMap& map, float radius);

    /// The slot's value, which stays 0 when no column has it.
    float* Slot(std::int32_t slot) { return &slots_[static_cast<std::size_t>(slot)]; }

    /// All of them: for callers that keep the slots of several rows.
    const std::vector<float>& Slots() const { return slots_; }

    /// Writes the record of the row whose values are in their slots.
    void Build(std::byte* record) const { Build(slots_.data(), record); }
    /// The same of a row whose slots the caller has.
    void Build(const float* slots, std::byte* record) const;

private:
    NormalCode Code(const float* slots) const;

    const ColumnMap& map_;
    const NormalDecoder& normals_;
    std::vector<float> slots_;
};

}  // namespace convert
