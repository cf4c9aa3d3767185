// A user of the library: writes a small cloud with an octree, reads it back, prints what it holds.
//
// usage: package_user FILE

#include <cstdio>

#include "ptc/access.h"
#include "ptc/tree.h"
#include "ptc/writer.h"

namespace {

constexpr int kPoints = 3;

/// Three points with areas 10, 20 and 30, and two nodes: a leaf and the root above it.
bool Write(const char* name) {
    const char* const types[] = {"float"};
    const char* const names[] = {"_area"};
    PtcCloudWriter* const cloud =
        PtcCreateCloud({.name = name, .point_variables = {1, types, names}});
    if (!cloud) return false;
    const float normal[3] = {0, 0, 1};
    for (int i = 0; i < kPoints; ++i) {
        const float position[3] = {static_cast<float>(i), 0, 0};
        const float area = 10.0F * static_cast<float>(i + 1);
        PtcWritePoint(cloud, position, normal, 0.5F, &area);
    }
    const PtcNewNode node = {.point_count = kPoints, .box = {0, 0, 0, 2, 1, 1}};
    std::int64_t children[kNodeChildren] = {};
    std::int64_t root = 0;
    PtcWriteNode(cloud, node, nullptr, &children[0]);
    PtcWriteNode(cloud, node, &children, &root);
    return PtcFinishCloud(cloud);  // false, too, after any of these writes has failed
}

bool Read(const char* name) {
    const PtcFile file(name);
    PtcHeader header{};
    if (!PtcGetHeader(file.Get(), &header)) return false;
    float area = 0;
    for (std::int64_t i = 0; i < header.points; ++i) {
        const PtcPoint* const point = PtcGetPoint(file.Get(), i);
        if (!point) return false;
        area += point->data[0];
    }
    PtcTreeWalk walk(file.Get());
    int nodes = 0;
    int deepest = 0;
    while (walk.Next()) {
        ++nodes;
        deepest = walk.Depth();
    }
    std::printf("%lld points, area %g, %d nodes, depth %d\n", static_cast<long long>(header.points),
                static_cast<double>(area), nodes, deepest);
    return !walk.HasFailed();
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const bool is_good = Write(arguments[1]) && Read(arguments[1]);
    if (!is_good) std::fprintf(stderr, "package_user: %s\n", PtcLastFailure().text);
    PtcShutdown();
    return is_good ? 0 : 1;
}
