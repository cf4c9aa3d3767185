// read_cloud: opens a point cloud and reads its points and its octree from several threads.
//
// usage: read_cloud FILE [VARIABLE]
//
// Each thread takes a share of the points and adds up VARIABLE, by default the first one that the
// file declares; then one thread walks the octree and counts the nodes of each level. All that is
// needed of the library is ptc/access/access.h.

#include <algorithm>
#include <cstdio>
#include <thread>
#include <vector>

#include "ptc/access/access.h"

namespace {

constexpr int kThreads = 4;

struct Sum {
    double value = 0;
    std::int64_t missing = 0;  ///< points that could not be read
    bool is_open = false;      ///< if not, the others say nothing
};

/// Adds up float `place` of the data of a share of the points.
Sum AddUp(const char* name, std::int32_t place, int share) {
    Sum sum;
    // A handle belongs to the thread that opened it. The file itself is opened only once.
    PtcManagedFile* const file = PtcOpenForReading(name);
    PtcHeader header;
    sum.is_open = PtcGetHeader(file, &header);
    if (!sum.is_open) return sum;
    const std::int64_t begin = header.points * share / kThreads;
    const std::int64_t end = header.points * (share + 1) / kThreads;
    for (std::int64_t i = begin; i < end; ++i) {
        // Good until the next call: what has to last is copied.
        const PtcPoint* const point = PtcGetPoint(file, i);
        if (point) {
            sum.value += double{point->data[place]};
        } else {
            ++sum.missing;
        }
    }
    PtcRelease(file);
    return sum;
}

struct Parent {
    std::int64_t reference;
    PtcNode node;
    std::size_t level;
};

/// The number of nodes on each level of the octree; empty when there is none.
std::vector<int> CountLevels(PtcManagedFile* file, std::int64_t nodes) {
    std::vector<int> levels;
    std::vector<Parent> waiting;
    std::int64_t reference = 0;
    if (const PtcNode* const root = PtcGetRoot(file, &reference))
        waiting.push_back({reference, *root, 0});
    // As many steps as the header has nodes: a damaged file may lead to one node twice.
    for (; !waiting.empty() && nodes > 0; --nodes) {
        const Parent parent = waiting.back();
        waiting.pop_back();
        levels.resize(std::max(levels.size(), parent.level + 1));
        ++levels[parent.level];
        // The key is the parent's own reference; leaves answer null.
        const std::int64_t* const references = parent.node.children;
        const PtcNode* const children = PtcGetNodeChildren(file, parent.reference, references);
        for (int i = 0; children && i < kNodeChildren; ++i)
            if (references[i] != 0)
                waiting.push_back({references[i], children[i], parent.level + 1});
    }
    return levels;
}

int ReadCloud(const char* name, const char* variable) {
    PtcConfigure(kThreads + 1, 65536, 65536, nullptr);  // one for the main thread
    PtcVariables variables;
    PtcManagedFile* const file = PtcOpenWithVariables(name, &variables);
    if (!file) {
        std::fprintf(stderr, "read_cloud: %s: cannot be opened, or declares no variable\n", name);
        return 1;
    }
    if (!variable) variable = variables.names[0].c_str();
    std::int32_t place = -1;
    std::int32_t floats = 0;
    PtcFindVariables(file, 1, &variable, &place, &floats);
    if (place < 0) {
        std::fprintf(stderr, "read_cloud: %s: has no variable '%s'\n", name, variable);
        PtcRelease(file);
        return 1;
    }

    std::vector<Sum> sums(kThreads);
    {
        std::vector<std::jthread> threads;
        threads.reserve(kThreads);
        for (int share = 0; share < kThreads; ++share)
            threads.emplace_back(
                [&, share] { sums[static_cast<std::size_t>(share)] = AddUp(name, place, share); });
    }
    Sum total;
    total.is_open = true;
    for (const Sum& sum : sums)
        total = {total.value + sum.value, total.missing + sum.missing,
                 total.is_open && sum.is_open};
    PtcHeader header;
    PtcGetHeader(file, &header);
    std::printf("%lld points, sum of %s: %g\n", static_cast<long long>(header.points), variable,
                total.value);
    const std::vector<int> levels = CountLevels(file, header.nodes);
    for (std::size_t level = 0; level < levels.size(); ++level)
        std::printf("level %zu: %d nodes\n", level, levels[level]);
    std::fputs(PtcCacheTable().c_str(), stdout);

    PtcRelease(file);
    if (!total.is_open)
        std::fprintf(stderr, "read_cloud: %s: cannot be opened by every thread\n", name);
    return total.is_open && total.missing == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2 || count > 3) {
        std::fputs("usage: read_cloud FILE [VARIABLE]\n", stderr);
        return 2;
    }
    const int status = ReadCloud(arguments[1], count > 2 ? arguments[2] : nullptr);
    PtcShutdown();
    return status;
}
