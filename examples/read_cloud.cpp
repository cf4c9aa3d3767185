// read_cloud: opens a point cloud and reads its points and its octree from several threads.
//
// usage: read_cloud FILE [VARIABLE]
//
// Each thread takes a share of the points and adds up VARIABLE, by default the first one that the
// file declares; then one thread walks the octree and counts the nodes of each level.

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ptc/access.h"
#include "ptc/statistics.h"
#include "ptc/tree.h"

namespace {

constexpr int kThreads = 4;

struct Sum {
    double value = 0;
    std::int64_t missing = 0;  ///< points that could not be read
    std::string failure;       ///< the library's words for the last of them
};

/// Adds up float `place` of the data of a share of the points.
Sum AddUp(const char* name, std::int32_t place, int share) {
    Sum sum;
    // A handle belongs to the thread that opened it. The file itself is opened only once.
    const PtcFile file(name);
    PtcHeader header{};
    if (!PtcGetHeader(file.Get(), &header)) return {0, 1, PtcLastFailure().text};
    const std::int64_t begin = header.points * share / kThreads;
    const std::int64_t end = header.points * (share + 1) / kThreads;
    for (std::int64_t i = begin; i < end; ++i) {
        // Valid until the next call: what has to last is copied.
        const PtcPoint* const point = PtcGetPoint(file.Get(), i);
        if (point) {
            sum.value += double{point->data[place]};
        } else {
            ++sum.missing;
            sum.failure = PtcLastFailure().text;
        }
    }
    return sum;
}

Sum AddUpInThreads(const char* name, std::int32_t place) {
    std::vector<Sum> sums(kThreads);
    {
        std::vector<std::jthread> threads;
        threads.reserve(kThreads);
        for (int share = 0; share < kThreads; ++share)
            threads.emplace_back(
                [&, share] { sums[static_cast<std::size_t>(share)] = AddUp(name, place, share); });
    }
    Sum total;
    for (const Sum& sum : sums) {
        total.value += sum.value;
        total.missing += sum.missing;
        if (!sum.failure.empty()) total.failure = sum.failure;
    }
    return total;
}

/// Prints the number of nodes on each level of the octree. False: not all could be read.
bool PrintLevels(PtcManagedFile* file) {
    std::vector<int> levels;
    PtcTreeWalk walk(file);
    while (walk.Next()) {
        const auto level = static_cast<std::size_t>(walk.Depth());
        levels.resize(std::max(levels.size(), level + 1));
        ++levels[level];
    }
    for (std::size_t level = 0; level < levels.size(); ++level)
        std::printf("level %zu: %d nodes\n", level, levels[level]);
    return !walk.HasFailed();
}

int Fail(const char* why) {
    std::fprintf(stderr, "read_cloud: %s\n", why);
    return 1;
}

int ReadCloud(const char* name, const char* variable) {
    const PtcFile file(name);
    PtcHeader header{};
    PtcVariables variables;
    if (!PtcGetHeader(file.Get(), &header) || !PtcGetVariables(file.Get(), &variables, nullptr))
        return Fail(PtcLastFailure().text);
    if (!variable && variables.names.empty()) return Fail("the file declares no variables");
    if (!variable) variable = variables.names[0].c_str();
    std::int32_t place = -1;
    std::int32_t floats = 0;
    (void)PtcFindVariables(file.Get(), 1, &variable, &place, &floats);
    if (place < 0) return Fail("the file has no such variable");

    const Sum total = AddUpInThreads(name, place);
    std::printf("%lld points, sum of %s: %g\n", static_cast<long long>(header.points), variable,
                total.value);
    if (!PrintLevels(file.Get())) return Fail(PtcLastFailure().text);
    std::fputs(PtcCacheTable().c_str(), stdout);
    return total.missing == 0 ? 0 : Fail(total.failure.c_str());
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2 || count > 3) {
        std::fputs("usage: read_cloud FILE [VARIABLE]\n", stderr);
        return 2;
    }
    PtcConfigure(kThreads + 1, 65536, 65536, nullptr);  // one for the main thread
    const int status = ReadCloud(arguments[1], count > 2 ? arguments[2] : nullptr);
    PtcShutdown();
    return status;
}
