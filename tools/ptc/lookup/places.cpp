// Places: records and their normals.

#include "tools/ptc/lookup/places.h"

#include <algorithm>
#include <optional>

#include "ptc/format/record_code.h"
#include "tools/ptc/convert/form_files.h"

void DecodePlaces(std::span<const std::byte> records, std::size_t record_bytes, bool with_normals,
                  PlaceBatch* batch) {
    const std::size_t count = records.size() / record_bytes;
    batch->positions.resize(3 * count);
    batch->normals.resize(with_normals ? 3 * count : 0);
    for (std::size_t i = 0; i < count; ++i) {
        PointHead head;
        DecodePoint(&records[i * record_bytes], Normals(), &head, {});
        std::copy_n(head.position, 3, &batch->positions[3 * i]);
        if (with_normals) std::copy_n(head.normal, 3, &batch->normals[3 * i]);
    }
}

PlaceSource::PlaceSource(const std::string& file, bool with_normals)
    : file_(file), with_normals_(with_normals) {
    const auto form = convert::FormOf(file).value_or(convert::Form());
    // Radii do not matter here, so a table need not be read twice for them.
    points_ = convert::OpenSource(file_, form.kind, 0.0f);
}

bool PlaceSource::Next(std::int64_t most, PlaceBatch* batch) {
    const std::size_t record = points_->Header().PointBytes();
    records_.resize(static_cast<std::size_t>(most) * record);
    const std::size_t read = points_->Read(records_);
    DecodePlaces(std::span(records_).first(read * record), record, with_normals_, batch);
    return read > 0;
}
