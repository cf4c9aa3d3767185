// Points through the caches, one or many at a time.

#include "ptc/access/lookup.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "ptc/access.h"
#include "ptc/cloud/points_ahead.h"

namespace {

/// "point 17", for messages.
class PointName {
public:
    explicit PointName(std::int64_t index) {
        (void)std::snprintf(text_, sizeof text_, "point %lld", static_cast<long long>(index));
    }
    const char* c_str() const { return text_; }

private:
    char text_[32];
};

[[gnu::noinline]] const PtcPoint* NoSuchPoint(const PtcManagedFile* file, std::int64_t index) {
    SetNoRecord(file, PointName(index).c_str());
    return nullptr;
}

[[gnu::noinline]] const PtcPoint* NotRead(const PtcThreadCache* cache, const PtcManagedFile& file,
                                          std::int64_t index) {
    const PtcNoBlock no_memory{PtcNoBlock::Reason::kNoMemory};
    SetLookupFailure(file, PointName(index).c_str(), cache ? cache->WhyNoPoint() : no_memory);
    return nullptr;
}

/// Copies the vector at `kOffset` of each record to one place behind the other. Each takes the
/// float behind it along, which the next vector overwrites, so that all but the last go in one
/// piece.
template <std::size_t kOffset>
void CopyVectors(const PtcPoint* points, std::int64_t count, float* to) {
    if (!to) return;
    const auto vector_of = [](const PtcPoint* point) {
        return reinterpret_cast<const std::byte*>(point) + kOffset;
    };
    const PtcPoint* const last = points + count - 1;
    for (; points != last; ++points, to += 3) std::memcpy(to, vector_of(points), 4 * sizeof(float));
    std::memcpy(to, vector_of(last), 3 * sizeof(float));
}

void CopyRadii(const PtcPoint* points, std::int64_t count, float* to) {
    if (!to) return;
    for (std::int64_t i = 0; i < count; ++i) to[i] = points[i].radius;
}

void CopyData(const PtcPoint* points, std::int64_t count, std::int32_t floats, float* to) {
    if (!to || floats <= 0) return;
    // As a rule the floats of a block lie one behind the other, as they shall in the array.
    if (points[count - 1].data == points[0].data + (count - 1) * floats) {
        std::copy_n(points[0].data, count * floats, to);
        return;
    }
    for (const PtcPoint* point = points; point != points + count; ++point, to += floats)
        std::copy_n(point->data, floats, to);
}

/// Copies `count` points, at least one, to place `at` of the arrays.
void CopyRun(const PtcPoint* points, std::int64_t count, std::int32_t floats,
             const PtcPointArrays& to, std::int64_t at) {
    const auto place = [at](float* array, std::int64_t each) {
        return array ? array + each * at : nullptr;
    };
    CopyVectors<offsetof(PtcPoint, position)>(points, count, place(to.positions, 3));
    CopyVectors<offsetof(PtcPoint, normal)>(points, count, place(to.normals, 3));
    CopyRadii(points, count, place(to.radii, 1));
    CopyData(points, count, floats, place(to.data, floats));
}

}  // namespace

void SetLookupFailure(const PtcManagedFile& file, const char* what,
                      const PtcNoBlock& why) noexcept {
    char text[64];
    (void)std::snprintf(text, sizeof text, "%s cannot be read", what);
    if (why.reason == PtcNoBlock::Reason::kUnreadable) {
        SetFailure(PtcFailureCode::kUnreadable, file.Name(), text, why.error,
                   why.error != 0 ? nullptr : "the file is damaged there");
    } else {
        SetFailure(PtcFailureCode::kNoMemory, file.Name(), text, 0, "memory ran out");
    }
}

void SetNoRecord(const PtcManagedFile* file, const char* what) noexcept {
    if (!file) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no file");
    } else if (file->HasOutlivedManager()) {
        SetFailure(PtcFailureCode::kShutDown, file->Name(), "was closed by the shut-down");
    } else if (!file->IsReading()) {
        SetFailure(PtcFailureCode::kBadArgument, file->Name(), "is not open for reading");
    } else {
        SetFailure(PtcFailureCode::kNoSuchRecord, file->Name(), what, 0, "there is none");
    }
}

const PtcPoint* PointRecordOf(PtcThreadCache* cache, PtcManagedFile& file, std::int64_t index) {
    const PtcPoint* const point = cache ? cache->GetPoint(file, index) : nullptr;
    if (!point) [[unlikely]]
        return NotRead(cache, file, index);
    return point;
}

const PtcPoint* ptc_held::Fetch(PtcManagedFile* file, std::int64_t index) {
    // The last block has records beyond the last point; these are no points.
    if (!file || index < 0 || index >= file->PointCount()) [[unlikely]]
        return NoSuchPoint(file, index);
    return PointRecordOf(ThisThreadCache(), *file, index);
}

std::int64_t PtcGetPoints(PtcManagedFile* file, std::int64_t first, std::int64_t count,
                          const PtcPointArrays& arrays) {
    constexpr std::int64_t kBlock = PtcPointCache::kPoints;
    const std::int32_t floats = file ? file->FloatsPerPoint() : 0;
    std::int64_t done = 0;
    // The caches ask for whole blocks, also for the last one. Counts that are no points end below.
    const std::int64_t in_all = file ? file->PointCount() : 0;
    const bool has_run = first >= 0 && first < in_all && count > 0;
    const PointsAhead ahead(has_run ? first + std::min(count, in_all - first) + kBlock - 1 : 0);
    while (done < count) {
        const PtcPoint* const points = PtcGetPoint(file, first + done);
        if (!points) break;
        const std::int64_t in_block = kBlock - (first + done) % kBlock;
        const std::int64_t in_file = file->PointCount() - (first + done);
        const std::int64_t run = std::min({count - done, in_block, in_file});
        CopyRun(points, run, floats, arrays, done);
        done += run;
    }
    return done;
}
