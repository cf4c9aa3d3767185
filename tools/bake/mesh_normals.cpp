// Vertex normals: gathering the corners of one place, splitting them along creases.

#include "tools/bake/mesh_normals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <tuple>

namespace bake {

namespace {

/// Triangles whose normals are farther apart than 60 degrees do not share a vertex normal.
constexpr float kCreaseDot = 0.5f;

/// Where more triangles than this meet, all of them share one normal: comparing each with each
/// would take a time that grows with their square.
constexpr std::size_t kMostCompared = 256;

/// One corner of a triangle.
struct Corner {
    std::uint32_t triangle;
    std::uint32_t number;
};

/// Gives the corners that meet in one place their vertices and normals.
class Place {
public:
    Place(TriangleMesh* mesh, std::vector<Vec3>* normals)
        : mesh_(*mesh), normals_(*normals), first_(normals->size()) {}

    void Settle(std::span<const Corner> corners) {
        std::vector<Vec3> spans;
        for (const Corner& corner : corners) spans.push_back(Span(mesh_, corner.triangle));
        for (std::size_t i = 0; i < corners.size(); ++i) {
            const Vec3 own = Normalized(spans[i]);
            Vec3 sum;
            for (const Vec3& span : spans)
                if (spans.size() > kMostCompared || Dot(own, Normalized(span)) >= kCreaseDot)
                    sum = sum + span;
            const Vec3 mean = Normalized(sum);
            std::uint32_t& vertex = mesh_.triangles[corners[i].triangle][corners[i].number];
            // Mirroring has turned the triangles round: outside is against their spans.
            vertex = VertexWith(mesh_.vertices[vertex], Length(sum) > 0 ? -mean : -own);
        }
    }

private:
    /// A vertex of this place with this very normal, new if there is none yet.
    std::uint32_t VertexWith(Vec3 position, Vec3 normal) {
        const auto begin = normals_.begin() + static_cast<std::ptrdiff_t>(first_);
        const auto found = std::find(begin, normals_.end(), normal);
        const auto vertex = static_cast<std::uint32_t>(found - normals_.begin());
        if (found == normals_.end()) {
            mesh_.vertices.push_back(position);
            normals_.push_back(normal);
        }
        return vertex;
    }

    TriangleMesh& mesh_;
    std::vector<Vec3>& normals_;
    const std::size_t first_;  ///< the vertices from here on are this place's
};

bool IsUsable(Vec3 normal) {
    const float length = Length(normal);
    return std::isfinite(length) && length > 0;
}

}  // namespace

Vec3 Span(const TriangleMesh& mesh, std::size_t triangle) {
    const auto& [a, b, c] = mesh.triangles[triangle];
    return Cross(mesh.vertices[b] - mesh.vertices[a], mesh.vertices[c] - mesh.vertices[a]);
}

void CompleteNormals(TriangleMesh* mesh, std::vector<Vec3>* normals) {
    std::vector<Corner> missing;
    for (std::uint32_t triangle = 0; triangle < mesh->triangles.size(); ++triangle)
        for (std::uint32_t number = 0; number < 3; ++number)
            if (!IsUsable((*normals)[mesh->triangles[triangle][number]]))
                missing.push_back({triangle, number});
    for (Vec3& normal : *normals)
        if (IsUsable(normal)) normal = Normalized(normal);

    const auto place = [mesh](const Corner& corner) {
        const Vec3& v = mesh->vertices[mesh->triangles[corner.triangle][corner.number]];
        return std::tuple(v.x, v.y, v.z);
    };
    std::sort(missing.begin(), missing.end(), [&](const Corner& a, const Corner& b) {
        return std::tuple(place(a), a.triangle, a.number) <
               std::tuple(place(b), b.triangle, b.number);
    });
    for (auto from = missing.begin(); from != missing.end();) {
        const auto to = std::find_if(from, missing.end(),
                                     [&](const Corner& c) { return place(c) != place(*from); });
        Place(mesh, normals).Settle(std::span(from, to));
        from = to;
    }
}

}  // namespace bake
