// RowWriter: the columns of one row, in the order of kHeadColumns, kRgbColumns and the variables.

#include "tools/ptc/convert/row_writer.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "ptc/format/layout.h"
#include "tools/ptc/convert/number_parse.h"

namespace convert {

namespace {

template <class T>
T Field(const std::byte* record, std::size_t offset) {
    T value;
    std::memcpy(&value, record + offset, sizeof value);
    return value;
}

float DataFloat(const std::byte* record, std::size_t i) {
    return Field<float>(record, ptc_layout::kPointHeadBytes + 4 * i);
}

NormalCode CodeOf(const std::byte* record) {
    using namespace ptc_layout;
    return {Field<std::uint16_t>(record, Find(kPoint, "azimuth").offset),
            Field<std::uint16_t>(record, Find(kPoint, "height").offset)};
}

/// The seven floats in front: position, normal, radius.
std::array<float, 7> HeadFloats(const std::byte* record, const NormalDecoder& normals) {
    using namespace ptc_layout;
    std::array<float, 7> head;
    std::memcpy(head.data(), record + Find(kPoint, "position").offset, 12);
    normals.Decode(CodeOf(record), &head[3]);
    head[6] = Field<float>(record, Find(kPoint, "radius").offset);
    return head;
}

char* WriteRaw(const void* bytes, std::size_t count, char* row) {
    std::memcpy(row, bytes, count);
    return row + count;
}

}  // namespace

std::uint8_t RowWriter::ColourByte(const std::byte* record, std::size_t part) const {
    const float light = DataFloat(record, *colour_ + part);
    return light > 0 ? srgb_.Encode(light) : std::uint8_t{0};  // NaN gives 0, too
}

char* RowWriter::WriteTextRow(const std::byte* record, char separator, char* row) const {
    for (const float value : HeadFloats(record, normals_)) {
        row = WriteShortest(value, row);
        *row++ = separator;
    }
    const NormalCode code = CodeOf(record);
    row = WriteWhole(code.azimuth, row);
    *row++ = separator;
    row = WriteWhole(code.height, row);
    for (std::size_t i = 0; colour_ && i < 3; ++i) {
        *row++ = separator;
        row = WriteWhole(ColourByte(record, i), row);
    }
    for (std::size_t i = 0; i < data_floats_; ++i) {
        *row++ = separator;
        row = WriteShortest(DataFloat(record, i), row);
    }
    *row++ = '\n';
    return row;
}

char* RowWriter::WriteText(std::span<const std::byte> records, char separator, char* rows) const {
    const std::size_t record = ptc_layout::PointBytes(data_floats_);
    for (std::size_t at = 0; at < records.size(); at += record)
        rows = WriteTextRow(&records[at], separator, rows);
    return rows;
}

char* RowWriter::WriteBytes(std::span<const std::byte> records, char* rows) const {
    const std::size_t record_bytes = ptc_layout::PointBytes(data_floats_);
    for (std::size_t at = 0; at < records.size(); at += record_bytes) {
        const std::byte* const record = &records[at];
        const std::array<float, 7> head = HeadFloats(record, normals_);
        rows = WriteRaw(head.data(), sizeof head, rows);
        const NormalCode code = CodeOf(record);
        rows = WriteRaw(&code, sizeof code, rows);
        if (colour_) {
            for (std::size_t i = 0; i < 3; ++i) *rows++ = static_cast<char>(ColourByte(record, i));
        }
        rows = WriteRaw(record + ptc_layout::kPointHeadBytes, 4 * data_floats_, rows);
    }
    return rows;
}

}  // namespace convert
