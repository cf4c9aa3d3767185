// RowWriter: records as rows of a table, in text or in bytes.
//
// Units      red, green and blue are bytes as a screen takes them, for linear light from 0 to 1.
// Errors     none.
// Ownership  keeps no record; rows are appended to the caller's text.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/srgb.h"

namespace convert {

class RowWriter {
public:
    /// `colour`: where among the data floats the three lie that rows repeat as red, green and blue.
    RowWriter(const CloudVariables& variables, std::optional<std::size_t> colour)
        : data_floats_(variables.DataFloats()), colour_(colour) {}

    /// Values with `separator` between them and a newline; floats in the shortest text that reads
    /// back as the same float.
    void AppendText(const std::byte* record, char separator, std::string* rows) const;

    /// Values one behind the other, floats and codes bit for bit.
    void AppendBytes(const std::byte* record, std::string* rows) const;

private:
    std::uint8_t ColourByte(const std::byte* record, std::size_t part) const;

    std::size_t data_floats_;
    std::optional<std::size_t> colour_;
    view::Srgb srgb_;
};

}  // namespace convert
