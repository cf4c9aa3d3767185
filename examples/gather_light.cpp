// gather_light: gathers light at every point of a cloud, from four threads.
//
// usage: gather_light CLOUD ORGANISED
//
// Organises CLOUD with the data for light into the file ORGANISED first, with its first color as
// the light. Each thread then takes runs of points, in the order of the octree, so that neighbours
// read the same blocks. Prints the means of what they get, and the library's statistics as XML.

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ptc/access.h"
#include "ptc/light.h"
#include "ptc/organise.h"
#include "ptc/statistics.h"

namespace {

constexpr int kThreads = 4;
constexpr std::int64_t kRun = 256;  // points; a block of the file

/// What one thread has gathered.
struct Share {
    std::int64_t places = 0;
    std::int64_t left_out = 0;
    double occlusion = 0;
    std::array<double, 3> indirect{};
    std::array<double, 3> subsurface{};
    std::string failure;  ///< empty: none
};

/// Whether light can be gathered there: a point may lack its normal, or be nowhere.
bool IsPlace(const float* position, const float* normal) {
    return std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]) &&
           (normal[0] != 0 || normal[1] != 0 || normal[2] != 0);
}

/// Gathers at one place. False: PtcLastFailure() says why.
bool GatherAt(const PtcLight& light, const float* position, const float* normal, Share* share) {
    const PtcPlace place = {.position = position, .normal = normal};
    float occlusion = 0;
    float indirect[3] = {};
    float subsurface[3] = {};
    // PtcLight::Gather() answers the first two at once, in half the time.
    if (!light.Occlusion(place, {}, &occlusion, nullptr) || !light.Indirect(place, {}, indirect) ||
        !light.Subsurface(place, {}, subsurface))
        return false;
    ++share->places;
    share->occlusion += double{occlusion};
    for (std::size_t i = 0; i < 3; ++i) {
        share->indirect[i] += double{indirect[i]};
        share->subsurface[i] += double{subsurface[i]};
    }
    return true;
}

/// Gathers at the points of one run after the other until there is none left.
Share GatherRuns(const PtcLight& light, PtcManagedFile* file, std::atomic<std::int64_t>* next) {
    std::vector<float> positions(3 * kRun);
    std::vector<float> normals(3 * kRun);
    Share share;
    PtcHeader header{};
    if (!PtcGetHeader(file, &header)) share.failure = PtcLastFailure().text;
    while (share.failure.empty()) {
        const std::int64_t first = next->fetch_add(kRun);
        if (first >= header.points) break;
        const std::int64_t count = std::min(kRun, header.points - first);
        if (PtcGetPoints(file, first, count, {positions.data(), normals.data(), nullptr, nullptr}) <
            count)
            share.failure = PtcLastFailure().text;
        for (std::size_t i = 0; i < static_cast<std::size_t>(3 * count); i += 3) {
            if (!IsPlace(&positions[i], &normals[i]))
                ++share.left_out;
            else if (share.failure.empty() && !GatherAt(light, &positions[i], &normals[i], &share))
                share.failure = PtcLastFailure().text;
        }
    }
    return share;
}

int Fail(const char* why) {
    std::fprintf(stderr, "gather_light: %s\n", why);
    return 1;
}

void Print(const char* what, const std::array<double, 3>& sum, std::int64_t places) {
    const double n = places > 0 ? static_cast<double>(places) : 1;
    std::printf("%s: %.4f %.4f %.4f\n", what, sum[0] / n, sum[1] / n, sum[2] / n);
}

int GatherLight(const char* cloud, const char* organised) {
    if (!PtcOrganise({.inputs = &cloud, .input_count = 1, .output = organised, .light = true},
                     nullptr))
        return Fail(PtcLastFailure().text);
    const PtcFile file(organised);
    if (!file) return Fail(PtcLastFailure().text);
    // All threads share the light. It borrows the file, which stays open in this thread.
    PtcManagedFile* const files[] = {file.Get()};
    const PtcLight light({.files = files, .file_count = 1});
    if (!light) return Fail(PtcLastFailure().text);
    if (!light.HasColour(0)) std::printf("there is no color, so there is no light\n");

    std::vector<Share> shares(kThreads);
    std::atomic<std::int64_t> next{0};
    {
        std::vector<std::jthread> threads;
        threads.reserve(kThreads);
        for (Share& share : shares)
            threads.emplace_back([&] { share = GatherRuns(light, file.Get(), &next); });
    }
    Share total;
    for (const Share& share : shares) {
        if (!share.failure.empty()) return Fail(share.failure.c_str());
        total.places += share.places;
        total.left_out += share.left_out;
        total.occlusion += share.occlusion;
        for (std::size_t i = 0; i < 3; ++i) {
            total.indirect[i] += share.indirect[i];
            total.subsurface[i] += share.subsurface[i];
        }
    }
    std::printf("%lld places, %lld points are none\n", static_cast<long long>(total.places),
                static_cast<long long>(total.left_out));
    std::printf("occlusion: %.4f\n",
                total.places > 0 ? total.occlusion / static_cast<double>(total.places) : 0);
    Print("indirect light", total.indirect, total.places);
    Print("subsurface light", total.subsurface, total.places);
    std::fputs(PtcCacheXml().c_str(), stdout);
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fputs("usage: gather_light CLOUD ORGANISED\n", stderr);
        return 2;
    }
    PtcConfigure(kThreads + 1, 65536, 65536, nullptr);  // one for the main thread
    const int status = GatherLight(arguments[1], arguments[2]);
    PtcShutdown();
    return status;
}
