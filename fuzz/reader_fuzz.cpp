// Any bytes at all: the reader opens them or says why not, reads what is there, and frees it.

#include <cstdint>
#include <vector>

#include "ptc/reader.h"
#include "tests/support/memory_source.h"

namespace {

constexpr std::size_t kMostPoints = 1 << 16;
constexpr std::size_t kMostFloats = 1 << 20;

void ReadAll(Cloud& cloud) {
    const auto floats = static_cast<std::size_t>(cloud.point_variables.data_size);
    if (floats > kMostFloats / 16) return;
    std::vector<PointHead> heads(16);
    std::vector<float> data(16 * floats);
    std::size_t count = 0;
    for (std::size_t read = 0; read < kMostPoints; read += count)
        if (Failed(ReadPoints(cloud, heads, data, &count))) break;
    (void)SeekPoint(cloud, cloud.point_count);
    (void)SeekPoint(cloud, cloud.point_count / 2);
    (void)ReadPoints(cloud, heads, {}, &count);
}

void WalkNodes(Cloud& cloud) {
    std::vector<std::int64_t> waiting = {cloud.root_position};
    for (int visits = 0; !waiting.empty() && visits < 1000; ++visits) {
        NodeRecord node;
        const std::int64_t at = waiting.back();
        waiting.pop_back();
        if (Failed(ReadNode(cloud, at, &node, {}))) continue;
        for (const std::int64_t child : node.children)
            if (child != 0) waiting.push_back(child);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const CountCheck check : {CountCheck::kStrict, CountCheck::kOff}) {
        const std::string bytes(data, data + size);
        std::string why;
        const auto cloud = OpenCloud(std::make_unique<MemorySource>(bytes), "fuzz", &why, check);
        if (!cloud) continue;
        ReadAll(*cloud);
        WalkNodes(*cloud);
        std::int64_t value = 0;
        (void)GetHeaderValue(*cloud, "npoints", &value);
    }
    return 0;
}
