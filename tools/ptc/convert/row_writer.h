// RowWriter: records as rows of a table, in text or in bytes.
//
// Units      red, green and blue are bytes as a screen takes them, for linear light from 0 to 1.
// Errors     none.
// Ownership  keeps no record; rows are written into the caller's room.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "ptc/format/cloud_header.h"
#include "ptc/format/normal_decode.h"
#include "tools/picture/srgb.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/number_parse.h"

namespace convert {

class RowWriter {
public:
    /// `colour`: where among the data floats the three lie that rows repeat as red, green and blue.
    RowWriter(const CloudVariables& variables, std::optional<std::size_t> colour)
        : data_floats_(variables.DataFloats()), colour_(colour) {}

    /// The most bytes that a row takes in either form.
    std::size_t MostRowBytes() const { return Columns() * kMostNumberBytes; }

    /// Writes the rows of `records`: values with `separator` between them and a newline; floats in
    /// the shortest text that reads back as the same float. Returns the end of the rows.
    /// Caller: `rows` has room for MostRowBytes() of each.
    char* WriteText(std::span<const std::byte> records, char separator, char* rows) const;

    /// The same for values one behind the other, floats and codes bit for bit.
    char* WriteBytes(std::span<const std::byte> records, char* rows) const;

private:
    std::size_t Columns() const { return kHeadColumnCount + (colour_ ? 3 : 0) + data_floats_; }
    std::uint8_t ColourByte(const std::byte* record, std::size_t part) const;
    char* WriteTextRow(const std::byte* record, char separator, char* row) const;

    const NormalDecoder& normals_ = Normals();
    std::size_t data_floats_;
    std::optional<std::size_t> colour_;
    Srgb srgb_;
};

}  // namespace convert
