// Vertex normals: gathers the corners at one place, and splits them along creases.
//
// Some files share vertices between triangles, others repeat them. So places are compared by
// coordinates: the corners of all triangles are sorted by place, and each run of equal places is
// processed by itself. A corner's normal is the mean of those triangles in its run that no crease
// separates from the corner's own. Corners with the same normal share a vertex.

#include "tools/scene/mesh_normals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <tuple>

namespace scene {

namespace {

/// Triangles whose normals are farther apart than 60 degrees do not share a vertex normal.
constexpr float kCreaseDot = 0.5f;

/// If more triangles than this meet, all of them share one normal, because the time to compare each
/// with each grows with the square of their number.
constexpr std::size_t kMostCompared = 256;

/// One corner of a triangle.
struct Corner {
    std::uint32_t triangle;
    std::uint32_t number;
};

/// Gives the corners that meet in one place their vertices and normals.
class Place {
public:
    Place(TriangleMesh* mesh, std::vector<Vec3f>* normals)
        : mesh_(*mesh), normals_(*normals), first_(normals->size()) {}

    void Settle(std::span<const Corner> corners) {
        std::vector<Side> sides;
        for (const Corner& corner : corners) sides.push_back(SideAt(corner));
        for (std::size_t i = 0; i < corners.size(); ++i) {
            const Vec3f own = sides[i].normal;
            Vec3f sum;
            for (const Side& side : sides)
                if (sides.size() > kMostCompared || Dot(own, side.normal) >= kCreaseDot)
                    sum = sum + side.normal * side.angle;
            std::uint32_t& vertex = mesh_.triangles[corners[i].triangle][corners[i].number];
            vertex = VertexWith(mesh_.vertices[vertex], Length(sum) > 0 ? Normalized(sum) : own);
        }
    }

private:
    /// A triangle with a corner at this place. Its weight in a normal is its angle here, so that a
    /// flat side has the same weight whether it is one triangle or many.
    struct Side {
        Vec3f normal;
        float angle;
    };

    Side SideAt(const Corner& corner) const {
        const auto& triangle = mesh_.triangles[corner.triangle];
        const auto at = [&](std::uint32_t step) {
            return mesh_.vertices[triangle[(corner.number + step) % 3]];
        };
        const Vec3f one = at(1) - at(0);
        const Vec3f other = at(2) - at(0);
        // Mirroring has reversed the triangles: their spans point inwards.
        const Vec3f normal = -Normalized(Span(mesh_, corner.triangle));
        return {normal, std::atan2(Length(Cross(one, other)), Dot(one, other))};
    }

    /// The vertex of this place with exactly this normal; makes it if there is none.
    std::uint32_t VertexWith(Vec3f position, Vec3f normal) {
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
    std::vector<Vec3f>& normals_;
    const std::size_t first_;  ///< the first vertex of this place; the others follow it
};

bool IsUsable(Vec3f normal) {
    const float length = Length(normal);
    return std::isfinite(length) && length > 0;
}

}  // namespace

Vec3f Span(const TriangleMesh& mesh, std::size_t triangle) {
    const auto& [a, b, c] = mesh.triangles[triangle];
    return Cross(mesh.vertices[b] - mesh.vertices[a], mesh.vertices[c] - mesh.vertices[a]);
}

void CompleteNormals(TriangleMesh* mesh, std::vector<Vec3f>* normals) {
    std::vector<Corner> missing;
    for (std::uint32_t triangle = 0; triangle < mesh->triangles.size(); ++triangle)
        for (std::uint32_t number = 0; number < 3; ++number)
            if (!IsUsable((*normals)[mesh->triangles[triangle][number]]))
                missing.push_back({triangle, number});
    for (Vec3f& normal : *normals)
        if (IsUsable(normal)) normal = Normalized(normal);

    const auto place = [mesh](const Corner& corner) {
        const Vec3f& v = mesh->vertices[mesh->triangles[corner.triangle][corner.number]];
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

}  // namespace scene
