// Any bytes at all as a file that blocks are read from: points and nodes through the caches, and
// points through the cursor of a file in memory. Blocks hold what the reader in sequence gets.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ptc/cache/block_caches.h"
#include "ptc/files/managed_file.h"
#include "util/host/message.h"

namespace {

constexpr std::int64_t kMostBlocks = 64;
constexpr std::size_t kMostValues = std::size_t{1} << 20;
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

/// A file's first points, read one after the other.
struct Sequence {
    explicit Sequence(const std::string& name) {
        std::string why;
        const std::unique_ptr<CloudReader> cloud = OpenCloud(name.c_str(), &why);
        if (!cloud) return;
        floats = static_cast<std::size_t>(cloud->point_variables.data_size);
        const auto most = static_cast<std::int64_t>(kMostValues / (floats + 1));
        wanted = std::min({cloud->point_count, kMostBlocks * PtcPointCache::kPoints, most});
        PointHead head;
        std::vector<float> values(floats);
        std::size_t count = 0;
        while (static_cast<std::int64_t>(heads.size()) < wanted &&
               !Failed(ReadPoints(*cloud, std::span(&head, 1), values, &count))) {
            heads.push_back(head);
            data.insert(data.end(), values.begin(), values.end());
        }
    }

    /// Whether `block`, null when it cannot be read, is what stands from point `first` up to
    /// `end`, to the bit. Beyond what was wanted anything is.
    bool Agrees(std::int64_t first, std::int64_t end, const PtcPoint* points) const {
        const auto read = static_cast<std::int64_t>(heads.size());
        if (end > read) return end > wanted || !points;
        for (std::int64_t i = first; points && i < end; ++i) {
            const PtcPoint& point = points[i - first];
            const PointHead& head = heads[static_cast<std::size_t>(i)];
            const float* const values = data.data() + static_cast<std::size_t>(i) * floats;
            if (std::memcmp(point.position, head.position, sizeof head.position) != 0 ||
                std::memcmp(point.normal, head.normal, sizeof head.normal) != 0 ||
                std::memcmp(&point.radius, &head.radius, sizeof head.radius) != 0 ||
                (floats > 0 && std::memcmp(point.data, values, floats * sizeof(float)) != 0))
                return false;
        }
        return points != nullptr;
    }

    std::int64_t wanted = 0;
    std::size_t floats = 0;
    std::vector<PointHead> heads;
    std::vector<float> data;
};

void ReadBlocks(PtcManagedFile& file, const Sequence& sequence) {
    PtcCacheStats stats;
    PtcPointCache cache(3, stats);
    const std::int64_t points = file.PointCount();
    const std::int64_t blocks =
        points / PtcPointCache::kPoints + (points % PtcPointCache::kPoints != 0);
    const std::int64_t visits = std::min(blocks, kMostBlocks);
    // From the end to the start, which is the hard way, and then forwards.
    for (std::int64_t i = 1 - visits; i < visits; ++i) {
        const std::int64_t first = std::abs(i) * PtcPointCache::kPoints;
        const std::int64_t end = std::min(points, first + PtcPointCache::kPoints);
        PtcCacheBlock* const block = cache.Get({file, first, nullptr}, stats);
        if (!sequence.Agrees(first, end, block ? block->Points() : nullptr)) __builtin_trap();
        if (block) cache.Release(*block);
    }
    (void)cache.Get({file, PtcPointCache::FirstOf(points / 2), nullptr}, stats);
    (void)cache.Get({file, points, nullptr}, stats);
    if (cache.BrokenPromise()) __builtin_trap();
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
    ReadBlocks(file, Sequence(bytes.Name()));
    WalkNodes(file);
    ReadFromMemory(bytes.Name());
    return 0;
}
