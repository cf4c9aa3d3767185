// Point thinning: records to the simplifier's points and back.

#include "tools/ptc/edit/point_thinning.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "driver/projection.h"
#include "ptc/format/normal_decode.h"

namespace edit {

namespace {

/// Rows tell points apart, so even points without data have one float.
std::size_t RowFloats(const CloudVariables& variables) {
    return std::max<std::size_t>(1, variables.DataFloats());
}

/// What is no data counts as an area, which is not compared.
std::vector<std::uint8_t> AreasAmong(const CloudVariables& variables) {
    std::vector<std::uint8_t> flags;
    for (std::size_t i = 0; i < variables.names.size(); ++i) {
        const std::string& name = variables.names[i];
        const bool is_area = name.find("area") != name.npos || name.find("Area") != name.npos;
        flags.insert(flags.end(), static_cast<std::size_t>(variables.sizes[i]), is_area);
    }
    flags.resize(RowFloats(variables), 1);
    return flags;
}

NormalCode CodeIn(const std::byte* record) {
    NormalCode code;
    std::memcpy(&code, record + Find(ptc_layout::kPoint, "azimuth").offset, sizeof code);
    return code;
}

}  // namespace

PointThinning::PointThinning(const Thinning& options, const CloudVariables& variables)
    : data_floats_(variables.DataFloats()), buffer_(options.buffer_size, RowFloats(variables)) {
    settings_.max_distance = options.max_distance;
    settings_.min_dot = options.min_dot;
    settings_.max_difference = options.max_difference;
    settings_.area_flags = AreasAmong(variables);
}

void PointThinning::Take(const RecordBatch& batch, const Write& write) {
    const std::size_t bytes = sizeof(float) * data_floats_;
    RecordBatch passing;
    passing.record = batch.record;
    for (std::size_t i = 0; i < batch.count; ++i) {
        const std::byte* const record = batch.bytes.data() + i * batch.record;
        PointHead head;
        DecodePoint(record, Normals(), &head, {});
        if (!(head.radius > 0)) {
            passing.bytes.insert(passing.bytes.end(), record, record + batch.record);
            ++passing.count;
            continue;
        }
        buffer_.Reserve(buffer_.Count() + 1);
        buffer_.Add(head, {record + ptc_layout::kPointHeadBytes, bytes,
                           sizeof(float) * buffer_.RowFloats()});
        codes_.push_back(CodeIn(record));
        if (static_cast<std::int64_t>(buffer_.Count()) >= buffer_.Capacity()) Finish(write);
    }
    if (passing.count > 0) write(&passing);
}

void PointThinning::Finish(const Write& write) {
    const auto records = buffer_.Records();
    const auto removed = buffer_.Removed();
    if (records.empty()) return;
    const float* const rows = records[0].data;
    Simplify(records, removed, settings_, Projection());
    const std::size_t bytes = sizeof(float) * data_floats_;
    RecordBatch left;
    left.record = ptc_layout::PointBytes(data_floats_);
    left.bytes.resize(records.size() * left.record);
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (removed[i]) continue;
        // A point that nothing has merged with keeps its code.
        const PointRecord& point = records[i];
        NormalCode code = codes_[static_cast<std::size_t>(point.data - rows) / buffer_.RowFloats()];
        float normal[3];
        Normals().Decode(code, normal);
        if (!std::equal(normal, normal + 3, point.head.normal)) code = CodeOf(point.head.normal);
        const auto data = std::as_bytes(std::span(point.data, data_floats_));
        EncodePoint(point.head, code, {data.data(), bytes, bytes}, left.Record(left.count++));
    }
    buffer_.Clear();
    codes_.clear();
    write(&left);
}

}  // namespace edit
