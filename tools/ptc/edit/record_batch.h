// RecordBatch: points that are being edited, as records of the binary form.
//
// Units      bytes; numbers of points count from 0 in the input.
// Errors     std::bad_alloc.
// Ownership  owns everything.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ptc/format/normal_code.h"
#include "tools/ptc/expression/expression.h"

namespace edit {

/// The code of a normal of any length; one without a direction has that of none.
NormalCode CodeOf(const float* normal);

struct RecordBatch {
    std::vector<std::byte> bytes;
    std::size_t record = 0;  ///< bytes of one
    std::size_t count = 0;
    std::vector<std::int64_t> numbers;

    /// 3 floats a point between DecodeNormals() and EncodeNormals(), where normals are changed.
    std::vector<float> normals;

    std::byte* Record(std::size_t i) { return bytes.data() + i * record; }
    std::span<const std::byte> Records() const { return {bytes.data(), count * record}; }
    float* Normal(std::size_t i) { return normals.empty() ? nullptr : &normals[3 * i]; }
    expression::PointValues Values(std::size_t i) { return {Record(i), Normal(i)}; }

    /// Gives every record `wide` bytes, zeros behind what it has.
    void Widen(std::size_t wide);

    void DecodeNormals();

    /// Stores the codes of those normals that differ from what their codes mean; the others keep
    /// theirs, which encoding would move by one now and then. A normal is brought to length 1, and
    /// one without a direction becomes none.
    void EncodeNormals();
};

}  // namespace edit
