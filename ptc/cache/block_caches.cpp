// Allocates and fills blocks of points and of nodes, and charges their memory.

#include "ptc/cache/block_caches.h"

#include <algorithm>
#include <utility>

#include "ptc/format/record_storage.h"

namespace {

/// The number of floats of one item; a negative count means none.
std::int32_t FloatsOf(std::int32_t floats) {
    return std::max(floats, 0);
}

std::int64_t FloatBytes(std::int64_t items, std::int32_t floats) {
    return items * floats * std::int64_t{sizeof(float)};
}

float* NewFloats(std::int64_t items, std::int32_t floats) {
    return static_cast<float*>(std::malloc(static_cast<std::size_t>(FloatBytes(items, floats))));
}

/// Frees the floats of the nodes of `block`.
void FreeFloats(PtcCacheBlock& block) {
    for (PtcNode* node = block.Nodes(); node != block.Nodes() + kNodeChildren; ++node) {
        std::free(StorageOf(*node));
        node->data = nullptr;
    }
}

}  // namespace

// --- points ---

bool PtcPointCache::MakeRoom(PtcCacheBlock& block, const PtcBlockSource& file) {
    if (!block.records) {
        block.records = std::calloc(kPoints, sizeof(PtcPoint));
        if (!block.records) return false;
        Charge(kRecordBytes);
    }
    const std::int32_t floats = FloatsOf(file.FloatsPerPoint());
    if (floats > block.data_floats) {
        std::free(block.data);
        Charge(-FloatBytes(kPoints, std::exchange(block.data_floats, 0)));
        block.data = NewFloats(kPoints, floats);
        if (!block.data) return false;
        block.data_floats = floats;
        Charge(FloatBytes(kPoints, floats));
    }
    // The distance between two points' floats depends on the file; all pointers are set together,
    // so the first two tell whether they are right already.
    float* data = floats > 0 ? block.data : nullptr;
    PtcPoint* const points = block.Points();
    if (points[0].data == data && points[1].data == data + floats) return true;
    for (PtcPoint* point = points; point != points + kPoints; ++point) {
        point->data = data;
        data += floats;
    }
    return true;
}

CloudStatus PtcPointCache::Fill(PtcCacheBlock& block, const PtcBlockRequest& request) {
    const std::int64_t in_file = request.file.PointCount();
    // Checked first, so that the difference below neither overflows nor is 0 or less.
    if (request.index < 0 || request.index >= in_file) return CloudStatus::kFailed;
    const std::int64_t count = std::min(in_file - request.index, kPoints);
    const CloudStatus status = request.file.ReadPoints(request.index, count, block.Points());
    const std::int32_t floats = FloatsOf(request.file.FloatsPerPoint());
    for (std::int64_t i = count; i < kPoints; ++i) {
        PtcPoint& point = block.Points()[i];
        std::fill_n(StorageOf(point), floats, 0.0f);
        point = {{}, {}, 0, point.data};
    }
    return status;
}

/// KEPT: a block counts in full, also the short last one of a file.
/// Test: PtcCaches.TheLastBlockIsShortAndCountsInFull
unsigned long PtcPointCache::ItemsIn(const PtcBlockRequest&) const {
    return kPoints;
}

std::int64_t PtcPointCache::BytesOf(const PtcCacheBlock& block) const {
    return (block.records ? kRecordBytes : 0) + FloatBytes(kPoints, block.data_floats);
}

void PtcPointCache::FreeData(PtcCacheBlock& block) {
    std::free(block.data);
    std::free(block.records);
}

// --- nodes ---

bool PtcNodeCache::MakeRoom(PtcCacheBlock& block, const PtcBlockSource& file) {
    if (!block.records) {
        block.records = std::calloc(kNodeChildren, sizeof(PtcNode));
        if (!block.records) return false;
        Charge(kRecordBytes);
    }
    const std::int32_t floats = FloatsOf(file.FloatsPerNode());
    if (floats <= block.data_floats) return true;
    FreeFloats(block);
    Charge(-FloatBytes(kNodeChildren, std::exchange(block.data_floats, 0)));
    for (PtcNode* node = block.Nodes(); node != block.Nodes() + kNodeChildren; ++node) {
        node->data = NewFloats(1, floats);
        if (node->data) continue;
        FreeFloats(block);
        return false;
    }
    block.data_floats = floats;
    Charge(FloatBytes(kNodeChildren, floats));
    return true;
}

CloudStatus PtcNodeCache::Fill(PtcCacheBlock& block, const PtcBlockRequest& request) {
    const std::int32_t floats = FloatsOf(request.file.FloatsPerNode());
    for (int i = 0; i < kNodeChildren; ++i) {
        if (request.children[i] != 0) continue;
        PtcNode& node = block.Nodes()[i];
        std::fill_n(StorageOf(node), floats, 0.0f);
        node = {0, 0, {}, node.data, {}};
    }
    return request.file.ReadNodeChildren(request.children, block.Nodes());
}

unsigned long PtcNodeCache::ItemsIn(const PtcBlockRequest& request) const {
    return kNodeChildren - static_cast<unsigned long>(
                               std::count(request.children, request.children + kNodeChildren, 0));
}

std::int64_t PtcNodeCache::BytesOf(const PtcCacheBlock& block) const {
    return (block.records ? kRecordBytes : 0) + FloatBytes(kNodeChildren, block.data_floats);
}

void PtcNodeCache::FreeData(PtcCacheBlock& block) {
    if (!block.records) return;
    FreeFloats(block);
    std::free(block.records);
}
