// look_up: looks up 100 point clouds at once, from four threads.
//
// usage: look_up FOLDER
//
// Writes 100 clouds into FOLDER first, each a tile of one wavy surface, and organises every second
// one: only those are read block by block, of the others octrees are made in memory. Each thread
// then takes a share of the places, filters the surface's value out of the points around them and
// finds the nearest points, mostly of several tiles.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ptc/access.h"
#include "ptc/lookup.h"
#include "ptc/organise.h"
#include "ptc/writer.h"

namespace {

constexpr int kThreads = 4;
constexpr int kTiles = 10;  // along each side
constexpr int kSteps = 32;  // points along each side of a tile
constexpr int kPlaces = 20000;
constexpr float kSpacing = 1.0f / kSteps;
constexpr const char* kVariable = "_value";
constexpr float kUp[] = {0, 0, 1};  // the waves are so low that this will do as normal

float ValueAt(float x, float y) {
    return std::sin(2 * x) + std::cos(3 * y);
}

/// Writes one tile, a unit square. False: PtcLastFailure() says why.
bool WriteTile(const std::string& name, int tile) {
    const char* const type = "float";
    PtcCloudDescription description;
    description.name = name.c_str();
    description.point_variables = {1, &type, &kVariable};
    PtcCloudWriter* const cloud = PtcCreateCloud(description);
    if (!cloud) return false;
    for (int i = 0; i < kSteps * kSteps; ++i) {
        const int column = tile % kTiles * kSteps + i % kSteps;
        const int row = tile / kTiles * kSteps + i / kSteps;
        const float x = (static_cast<float>(column) + 0.5f) * kSpacing;
        const float y = (static_cast<float>(row) + 0.5f) * kSpacing;
        const float position[] = {x, y, 0.01f * ValueAt(x, y)};
        const float value = ValueAt(x, y);
        if (!PtcWritePoint(cloud, position, kUp, 0.7f * kSpacing, &value)) break;
    }
    if (!PtcFinishCloud(cloud)) return false;  // also if a point could not be written
    if (tile % 2 != 0) return true;
    const char* const same = name.c_str();
    return PtcOrganise({.inputs = &same, .input_count = 1, .output = same}, nullptr);
}

/// What one thread has seen.
struct Seen {
    float largest_error = 0;
    std::int64_t points = 0;          ///< that were found, and the
    std::int64_t of_other_tiles = 0;  ///< ones of them in another file than the nearest
    bool has_failed = false;
    std::string failure;
};

/// Looks up a share of the places, which are spread evenly over the surface.
Seen LookUpShare(const PtcLookup& lookup, int share) {
    constexpr std::int32_t kMost = 8;
    Seen seen;
    for (int i = share; i < kPlaces; i += kThreads) {
        const float x = 0.5f + std::fmod(static_cast<float>(i) * 0.7549f, kTiles - 1.0f);
        const float y = 0.5f + std::fmod(static_cast<float>(i) * 0.5698f, kTiles - 1.0f);
        const float position[] = {x, y, 0.01f * ValueAt(x, y)};
        const PtcPlace place = {.position = position, .normal = kUp};

        float value = 0;
        float weight = 0;  // 0: nothing is there
        std::int32_t files[kMost] = {};
        std::int32_t found = 0;
        if (!lookup.Sample(place, {.radius = 1.5f * kSpacing}, &value, &weight) ||
            !lookup.Nearest(place, {.most = kMost, .least_dot = 0.5f}, {.files = files}, &found)) {
            seen.has_failed = true;
            seen.failure = PtcLastFailure().text;
            break;
        }
        if (weight > 0)
            seen.largest_error = std::max(seen.largest_error, std::abs(value - ValueAt(x, y)));
        seen.points += found;
        seen.of_other_tiles += found - std::count(files, files + found, files[0]);
    }
    return seen;
}

int Fail(const char* why) {
    std::fprintf(stderr, "look_up: %s\n", why);
    return 1;
}

int LookUp(const std::string& folder) {
    std::vector<PtcFile> clouds;
    std::vector<PtcManagedFile*> files;
    for (int tile = 0; tile < kTiles * kTiles; ++tile) {
        const std::string name = folder + "/tile" + std::to_string(tile) + ".ptc";
        if (!WriteTile(name, tile)) return Fail(PtcLastFailure().text);
        clouds.emplace_back(name.c_str());
        files.push_back(clouds.back().Get());
    }
    // All threads share the lookup. It borrows the files, which stay open in this thread.
    const PtcLookup lookup({.files = files.data(),
                            .file_count = static_cast<int>(files.size()),
                            .variables = &kVariable,
                            .variable_count = 1});
    if (!lookup) return Fail(PtcLastFailure().text);

    std::vector<Seen> seen(kThreads);
    {
        std::vector<std::jthread> threads;
        threads.reserve(kThreads);
        for (int share = 0; share < kThreads; ++share)
            threads.emplace_back(
                [&, share] { seen[static_cast<std::size_t>(share)] = LookUpShare(lookup, share); });
    }
    Seen total;
    for (const Seen& one : seen) {
        if (one.has_failed) return Fail(one.failure.c_str());
        total.largest_error = std::max(total.largest_error, one.largest_error);
        total.points += one.points;
        total.of_other_tiles += one.of_other_tiles;
    }
    std::printf("%d places, %lld points found, %lld of them in neighbouring clouds\n", kPlaces,
                static_cast<long long>(total.points), static_cast<long long>(total.of_other_tiles));
    std::printf("largest error of the filtered value: %.4f\n", double{total.largest_error});
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: look_up FOLDER\n", stderr);
        return 2;
    }
    PtcConfigure(kThreads + 1, 65536, 65536, nullptr);  // one for the main thread
    const int status = LookUp(arguments[1]);
    PtcShutdown();
    return status;
}
