// Points through the caches, one or many at a time.

#include "ptc/access/lookup.h"

#include <algorithm>
#include <cstdio>

#include "ptc/access.h"

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

void CopyRun(const PtcPoint* points, std::int64_t count, std::int32_t floats,
             const PtcPointArrays& to, std::int64_t at) {
    for (std::int64_t i = 0; i < count; ++i) {
        const PtcPoint& point = points[i];
        if (to.positions) std::copy_n(point.position, 3, to.positions + 3 * (at + i));
        if (to.normals) std::copy_n(point.normal, 3, to.normals + 3 * (at + i));
        if (to.radii) to.radii[at + i] = point.radius;
        if (to.data && floats > 0) std::copy_n(point.data, floats, to.data + floats * (at + i));
    }
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
