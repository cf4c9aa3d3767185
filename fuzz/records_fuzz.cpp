// Reads any bytes as a file: points and nodes through the caches, and points through the cursor of
// a file in memory. Blocks must hold the points that the reader gets in sequence. Lookups must end,
// and find points in order of their distances.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/cache/block_caches.h"
#include "ptc/files/managed_file.h"
#include "ptc/lookup.h"
#include "util/host/message.h"

namespace {

constexpr std::int64_t kMostBlocks = 64;
constexpr std::size_t kMostValues = std::size_t{1} << 20;
constexpr int kMostVisits = 1000;
constexpr std::int32_t kMostFloats = 1 << 12;  // a block holds 256 times as many

/// A file in memory with these bytes and a name, as long as the object exists.
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

/// The first points of a file, read in sequence.
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

    /// Whether `points` are the points from `first` up to `end`, to the bit. `points` is null for a
    /// block that cannot be read. Points behind the wanted ones are not compared.
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
    // From the end to the start, which is the harder direction, and then forwards.
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
            // Code that walks a tree relies on this: children are stored before their parent.
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

/// Looks up at points of the file and elsewhere, through the public door.
void LookUp(const std::string& name, const Sequence& sequence) {
    constexpr std::int32_t kMost = 40;
    PtcConfigure(1, 1, 1, nullptr);
    {
        const PtcFile file(name.c_str());
        PtcManagedFile* const files[] = {file.Get()};
        PtcVariables variables;
        (void)PtcGetVariables(file.Get(), &variables, nullptr);
        std::vector<const char*> names;
        for (const std::string& variable : variables.names) names.push_back(variable.c_str());
        const PtcLookup lookup({files, 1, names.data(), static_cast<int>(names.size())});
        const auto floats = static_cast<std::size_t>(std::max(lookup.FloatsPerPoint(), 0));
        std::vector<float> places = {0, 0, 0, 1e30f, -1, 0};
        for (const PointHead& head : sequence.heads)
            if (places.size() < 15) places.insert(places.end(), head.position, head.position + 3);
        const auto count = static_cast<std::int64_t>(places.size() / 3);
        std::vector<float> squared(kMost * places.size() / 3);
        std::vector<float> data(floats * squared.size());
        std::vector<std::int32_t> found(places.size() / 3);
        PtcNearestArrays arrays;
        arrays.squared_distances = squared.data();
        arrays.data = data.data();
        (void)lookup.NearestOfMany({count, places.data()}, {kMost}, arrays, found.data());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const float* const own = squared.data() + kMost * i;
            if (found[i] < 0 || found[i] > kMost) __builtin_trap();
            if (!std::is_sorted(own, own + found[i])) __builtin_trap();
        }
        std::vector<float> weights(names.size() * found.size());
        for (const float radius : {0.5f, std::numeric_limits<float>::max()})
            (void)lookup.SampleMany({count, places.data()}, {radius}, data.data(), weights.data());
    }
    PtcShutdown();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MsgSetHandler([](int, int, const char*) { return 0; }, 0);
    const MemoryFile bytes(data, size);
    if (!bytes.IsWhole()) return 0;
    PtcManagedFile file(bytes.Name().c_str());
    if (Failed(file.reopen())) return 0;
    if (file.FloatsPerPoint() > kMostFloats || file.FloatsPerNode() > kMostFloats) return 0;
    const Sequence sequence(bytes.Name());
    ReadBlocks(file, sequence);
    WalkNodes(file);
    ReadFromMemory(bytes.Name());
    LookUp(bytes.Name(), sequence);
    return 0;
}
