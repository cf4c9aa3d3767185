// Feeds any bytes to the reader: it opens them or says why not, reads them, and frees its memory.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ptc/cloud/header_query.h"
#include "ptc/cloud/node_walk.h"
#include "ptc/cloud/reader.h"
#include "tests/support/memory_source.h"

namespace {

constexpr std::size_t kMostPoints = 1 << 16;
constexpr std::size_t kMostFloats = 1 << 22;
constexpr std::size_t kRun = 1000;  // more points than the reader reads ahead

/// Reads all points in sequence, then points behind many seeks, and compares both bit by bit.
void ReadAll(CloudReader& cloud) {
    const auto floats = static_cast<std::size_t>(cloud.point_variables.data_size);
    if (floats > kMostFloats / kRun) return;
    std::vector<PointHead> heads(kRun);
    std::vector<float> data(kRun * floats);
    std::vector<PointHead> all;
    std::size_t count = 0;
    while (all.size() < kMostPoints) {
        const bool is_end = Failed(ReadPoints(cloud, heads, data, &count));
        all.insert(all.end(), heads.begin(), heads.begin() + static_cast<std::ptrdiff_t>(count));
        if (is_end) break;
    }
    (void)SeekPoint(cloud, cloud.point_count);
    // From the last point backwards, by a step that does not divide the size of any buffer.
    for (std::size_t end = all.size(); end > 0; end -= std::min<std::size_t>(end, 97)) {
        const std::size_t first = end - 1;
        if (Failed(SeekPoint(cloud, static_cast<std::int64_t>(first)))) __builtin_trap();
        (void)ReadPoints(cloud, heads, {}, &count);
        const std::size_t common = std::min(count, all.size() - first);
        if (common == 0 || std::memcmp(heads.data(), &all[first], common * sizeof heads[0]) != 0)
            __builtin_trap();
    }
}

/// Reads each node that the walk finds, and all that it refers to, followed or not.
void WalkNodes(CloudReader& cloud) {
    struct AnyFaults final : NodeListener {
        void Hear(const NodeFinding& /*found*/) override {}
    } any_faults;
    NodeRecord node;
    (void)ReadNode(cloud, cloud.root_position, &node, {});
    NodeWalk walk(cloud, cloud.data_start, 0, any_faults);
    NodeVisit visit;
    for (int visits = 0; visits < 1000 && walk.Next(&visit); ++visits)
        for (const std::int64_t child : visit.node->children)
            if (child != 0) (void)ReadNode(cloud, child, &node, {});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const CountCheck check : {CountCheck::kStrict, CountCheck::kOff}) {
        const std::string bytes(data, data + size);
        std::string why;
        const auto cloud = OpenCloud(std::make_unique<MemorySource>(bytes), "fuzz", &why, {check});
        if (!cloud) continue;
        ReadAll(*cloud);
        WalkNodes(*cloud);
        std::int64_t value = 0;
        (void)GetHeaderValue(*cloud, "npoints", &value);
    }
    return 0;
}
