// Any bytes at all as a file that blocks are read from: points and nodes through the caches, and
// points through the cursor of a file in memory.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ptc/block_caches.h"
#include "ptc/managed_file.h"
#include "util/message.h"

namespace {

constexpr std::int64_t kMostBlocks = 64;
constexpr int kMostVisits = 1000;
constexpr std::int32_t kMostFloats = 1 << 12;  // a block has room for 256 times as many

/// The bytes as a file with a name, for as long as this lives.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor_(memfd_create("fuzz", 0)) {
        is_whole_ = write(descriptor_, data, size) == static_cast<ssize_t>(size);
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    bool IsWhole() const { return is_whole_; }
    std::string Name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
    bool is_whole_ = false;
};

void ReadBlocks(PtcManagedFile& file) {
    PtcCacheStats stats;
    PtcPointCache cache(3, stats);
    const std::int64_t points = file.PointCount();
    const std::int64_t stride = std::max<std::int64_t>(points / kMostBlocks, 1);
    std::int64_t sum = 0;
    for (std::int64_t i = 0; i < std::min(points, kMostBlocks); ++i) {
        PtcCacheBlock* const block =
            cache.Get({file, PtcPointCache::FirstOf(i * stride), nullptr}, stats);
        if (!block) continue;
        for (int k = 0; k < PtcPointCache::kPoints; ++k) sum += block->Points()[k].radius < 1;
        cache.Release(*block);
    }
    (void)cache.Get({file, points, nullptr}, stats);
    if (cache.BrokenPromise() || sum < 0) __builtin_trap();
}

void WalkNodes(PtcManagedFile& file) {
    struct Parent {
        std::int64_t reference;
        std::int64_t children[kNodeChildren];
    };
    PtcCacheStats stats;
    PtcNodeCache cache(3, stats);
    std::vector<Parent> waiting = {{0, {file.Header()->root_position}}};
    for (int visits = 0; !waiting.empty() && visits < kMostVisits; ++visits) {
        const Parent parent = waiting.back();
        waiting.pop_back();
        PtcCacheBlock* const block = cache.Get({file, parent.reference, parent.children}, stats);
        if (!block) continue;
        for (int i = 0; i < kNodeChildren; ++i) {
            const PtcNode& node = block->Nodes()[i];
            if (parent.children[i] == 0) continue;
            Parent next{parent.children[i], {}};
            std::copy_n(node.children, kNodeChildren, next.children);
            // What the walks of all users rely on: children stand before their parent.
            for (const std::int64_t child : next.children)
                if (child < 0 || child >= parent.children[i]) __builtin_trap();
            waiting.push_back(next);
        }
        cache.Release(*block);
    }
    if (cache.BrokenPromise()) __builtin_trap();
}

void ReadFromMemory(const std::string& name) {
    PtcRecordReader reader;
    std::string why;
    if (Failed(reader.Open(name.c_str(), true, &why))) return;
    const auto floats = static_cast<std::size_t>(reader.Header().point_variables.data_size);
    std::vector<float> data(floats);
    PtcPoint point{};
    point.data = data.data();
    std::int64_t count = 0;
    while (!Failed(reader.ReadPoints(0, 1, &point))) ++count;
    if (count != reader.Header().point_count) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MsgSetHandler([](int, int, const char*) { return 0; }, 0);
    const MemoryFile bytes(data, size);
    if (!bytes.IsWhole()) return 0;
    PtcManagedFile file(bytes.Name().c_str());
    if (Failed(file.reopen())) return 0;
    if (file.FloatsPerPoint() > kMostFloats || file.FloatsPerNode() > kMostFloats) return 0;
    ReadBlocks(file);
    WalkNodes(file);
    ReadFromMemory(bytes.Name());
    return 0;
}
