// Normals from their codes.

#include "ptc/format/normal_decode.h"

#include "util/base/process_wide.h"
#include "util/math/sine_cosine.h"

namespace {

constexpr std::size_t kCodeCount = 65536;

}  // namespace

NormalDecoder::NormalDecoder() : directions_(kCodeCount) {
    for (std::size_t code = 0; code < kCodeCount; ++code) {
        const float share = static_cast<float>(code) / 65535.0f;
        directions_[code] = sine_cosine::Of((share - 0.5f) * 6.2831855f);
    }
}

const NormalDecoder& Normals() {
    return process_wide::The<NormalDecoder>();
}
