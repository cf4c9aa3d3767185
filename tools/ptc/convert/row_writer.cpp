// RowWriter: the columns of one row, in the order of kHeadColumns, kRgbColumns and the variables.

#include "tools/ptc/convert/row_writer.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "ptc/format/layout.h"
#include "ptc/format/normal_decode.h"
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

/// The seven floats in front: position, normal, radius.
std::array<float, 7> HeadFloats(const std::byte* record, NormalCode code) {
    using namespace ptc_layout;
    std::array<float, 7> head;
    std::memcpy(head.data(), record + Find(kPoint, "position").offset, 12);
    Normals().Decode(code, &head[3]);
    head[6] = Field<float>(record, Find(kPoint, "radius").offset);
    return head;
}

NormalCode CodeOf(const std::byte* record) {
    using namespace ptc_layout;
    return {Field<std::uint16_t>(record, Find(kPoint, "azimuth").offset),
            Field<std::uint16_t>(record, Find(kPoint, "height").offset)};
}

template <class T>
void AppendRaw(const T& value, std::string* rows) {
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    rows->append(bytes, sizeof value);
}

}  // namespace

std::uint8_t RowWriter::ColourByte(const std::byte* record, std::size_t part) const {
    const float light = DataFloat(record, *colour_ + part);
    return light > 0 ? srgb_.Encode(light) : std::uint8_t{0};  // NaN gives 0, too
}

void RowWriter::AppendText(const std::byte* record, char separator, std::string* rows) const {
    const NormalCode code = CodeOf(record);
    for (const float value : HeadFloats(record, code)) {
        AppendShortest(value, rows);
        *rows += separator;
    }
    AppendWhole(code.azimuth, rows);
    *rows += separator;
    AppendWhole(code.height, rows);
    for (std::size_t i = 0; colour_ && i < 3; ++i) {
        *rows += separator;
        AppendWhole(ColourByte(record, i), rows);
    }
    for (std::size_t i = 0; i < data_floats_; ++i) {
        *rows += separator;
        AppendShortest(DataFloat(record, i), rows);
    }
    *rows += '\n';
}

void RowWriter::AppendBytes(const std::byte* record, std::string* rows) const {
    const NormalCode code = CodeOf(record);
    AppendRaw(HeadFloats(record, code), rows);
    AppendRaw(code.azimuth, rows);
    AppendRaw(code.height, rows);
    for (std::size_t i = 0; colour_ && i < 3; ++i)
        *rows += static_cast<char>(ColourByte(record, i));
    for (std::size_t i = 0; i < data_floats_; ++i) AppendRaw(DataFloat(record, i), rows);
}

}  // namespace convert
