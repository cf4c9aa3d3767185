// The sides of a mesh: counts edges by place, adds up the volume of the triangles.

#include "tools/scene/mesh_sides.h"

#include <algorithm>
#include <cstdint>
#include <tuple>
#include <utility>

#include "tools/scene/mesh_normals.h"
#include "tools/scene/scene.h"

namespace scene {

namespace {

/// For each vertex that a triangle uses, the vertex that represents its place.
std::vector<std::uint32_t> PlacesOf(const TriangleMesh& mesh) {
    std::vector<std::uint32_t> used;
    used.reserve(mesh.triangles.size() * 3);
    for (const auto& triangle : mesh.triangles)
        used.insert(used.end(), triangle.begin(), triangle.end());
    const auto place = [&](std::uint32_t index) {
        const Vec3f& v = mesh.vertices[index];
        return std::tuple(v.x, v.y, v.z);
    };
    std::sort(used.begin(), used.end(),
              [&](std::uint32_t a, std::uint32_t b) { return place(a) < place(b); });
    std::vector<std::uint32_t> places(mesh.vertices.size());
    for (std::size_t i = 0; i < used.size(); ++i) {
        const bool is_same = i > 0 && place(used[i]) == place(used[i - 1]);
        places[used[i]] = is_same ? places[used[i - 1]] : used[i];
    }
    return places;
}

}  // namespace

bool IsClosed(const TriangleMesh& mesh) {
    const std::vector<std::uint32_t> places = PlacesOf(mesh);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> edges;
    edges.reserve(mesh.triangles.size() * 3);
    for (const auto& triangle : mesh.triangles) {
        for (std::size_t i = 0; i < 3; ++i) {
            const auto [low, high] =
                std::minmax(places[triangle[i]], places[triangle[(i + 1) % 3]]);
            if (low != high) edges.emplace_back(low, high);
        }
    }
    std::sort(edges.begin(), edges.end());
    for (auto from = edges.begin(); from != edges.end();) {
        const auto to = std::upper_bound(from, edges.end(), *from);
        if ((to - from) % 2 != 0) return false;
        from = to;
    }
    return true;
}

bool PointsInwards(const TriangleMesh& mesh, const std::vector<Vec3f>& normals) {
    constexpr Vec3f kMiddle = {0, -1 + kStageHeight / 2, 0};
    double volume = 0;
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        const auto& [a, b, c] = mesh.triangles[i];
        const Vec3f span = Span(mesh, i);
        const bool along = Dot(span, normals[a] + normals[b] + normals[c]) > 0;
        volume += Dot(mesh.vertices[a] - kMiddle, along ? span : -span);
    }
    return volume < 0;
}

}  // namespace scene
