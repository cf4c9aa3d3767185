// Record batch: wider records, normals and their codes.

#include "tools/ptc/edit/record_batch.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ptc/format/layout.h"
#include "ptc/format/normal_decode.h"

namespace edit {

namespace {

constexpr std::size_t kCodePlace = Find(ptc_layout::kPoint, "azimuth").offset;

}  // namespace

NormalCode CodeOf(const float* normal) {
    const auto x = static_cast<double>(normal[0]);
    const auto y = static_cast<double>(normal[1]);
    const auto z = static_cast<double>(normal[2]);
    const double length = std::sqrt(x * x + y * y + z * z);
    if (!(length > 0) || !std::isfinite(length)) return kNoNormal;
    return EncodeNormal(static_cast<float>(x / length), static_cast<float>(y / length),
                        static_cast<float>(z / length));
}

void RecordBatch::Widen(std::size_t wide) {
    if (wide == record) return;
    if (bytes.size() < count * wide) bytes.resize(count * wide);
    // From the back: each record moves behind its old place.
    for (std::size_t i = count; i-- > 0;) {
        std::byte* const to = bytes.data() + i * wide;
        std::memmove(to, bytes.data() + i * record, record);
        std::memset(to + record, 0, wide - record);
    }
    record = wide;
}

void RecordBatch::DecodeNormals() {
    normals.resize(3 * count);
    for (std::size_t i = 0; i < count; ++i) {
        NormalCode code;
        std::memcpy(&code, Record(i) + kCodePlace, sizeof code);
        Normals().Decode(code, &normals[3 * i]);
    }
}

void RecordBatch::EncodeNormals() {
    for (std::size_t i = 0; i < count; ++i) {
        NormalCode code;
        float before[3];
        std::memcpy(&code, Record(i) + kCodePlace, sizeof code);
        Normals().Decode(code, before);
        if (std::equal(before, before + 3, &normals[3 * i])) continue;
        code = CodeOf(&normals[3 * i]);
        std::memcpy(Record(i) + kCodePlace, &code, sizeof code);
    }
    normals.clear();
}

}  // namespace edit
