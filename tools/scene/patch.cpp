// Patch: measures, dices and tessellates a function over the unit square.
//
// Micropolygons of neighbouring parts need not meet corner to corner: each has a disc that reaches
// to its own corners, and along a common edge the discs of both sides overlap.

#include "tools/scene/patch.h"

#include <numbers>
#include <utility>

namespace scene {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

/// `a` at 0, `b` at 1.
float Mix(float a, float b, float t) {
    return a + (b - a) * t;
}

/// `i` of `n` equal steps; exactly 1 at the end, so that neighbours meet.
float Step(int i, int n) {
    return static_cast<float>(i) / static_cast<float>(n);
}

}  // namespace

Shape Parallelogram(Vec3f corner, Vec3f edge_u, Vec3f edge_v) {
    const Vec3f normal = Normalized(Cross(edge_u, edge_v));
    return [=](float u, float v) { return PatchPoint{corner + edge_u * u + edge_v * v, normal}; };
}

Shape SphereSixth(Vec3f centre, float radius, int face) {
    return [=](float u, float v) {
        // Steps of equal angle, not of equal length on the cube, keep the cells alike.
        const float a = std::tan((u * 2 - 1) * (kPi / 4));
        const float b = std::tan((v * 2 - 1) * (kPi / 4));
        const float side = face < 3 ? 1.0f : -1.0f;
        const Vec3f on_cube = face % 3 == 0   ? Vec3f{side, a, b}
                              : face % 3 == 1 ? Vec3f{a, side, b}
                                              : Vec3f{a, b, side};
        const Vec3f normal = Normalized(on_cube);
        return PatchPoint{centre + normal * radius, normal};
    };
}

Shape Torus(Vec3f centre, float ring, float tube) {
    return [=](float u, float v) {
        const float around = u * 2 * kPi;
        const float across = v * 2 * kPi;
        const Vec3f outwards = {std::cos(around), 0, std::sin(around)};
        const Vec3f normal = outwards * std::cos(across) + Vec3f{0, std::sin(across), 0};
        return PatchPoint{centre + outwards * ring + normal * tube, normal};
    };
}

Patch::Patch(const Material& material, const Dicing& dicing, Shape shape, int facets)
    : Surface(material), dicing_(dicing), shape_(std::move(shape)), facets_(facets) {
    // All parts are equal rectangles of parameters, with enough of them for the widest place.
    const Extent whole = Measure({0, 1, 0, 1});
    const float grid = dicing.size * static_cast<float>(dicing.grid);
    parts_u_ = Steps(whole.along_u, grid);
    parts_v_ = Steps(whole.along_v, grid);
}

Patch::Extent Patch::Measure(const Part& part) const {
    // Lines are taken at both edges and in between, each followed in short straight pieces.
    constexpr int kLines = 8;
    constexpr int kPieces = 32;
    const auto at = [&](float s, float t) {
        return shape_(Mix(part.u0, part.u1, s), Mix(part.v0, part.v1, t)).position;
    };
    const auto length = [&](const auto& place) {
        float sum = 0;
        Vec3f from = place(0.0f);
        for (int piece = 0; piece < kPieces; ++piece) {
            const Vec3f to = place(Step(piece + 1, kPieces));
            sum += Length(to - from);
            from = to;
        }
        return sum;
    };
    Extent longest{0, 0};
    for (int line = 0; line <= kLines; ++line) {
        const float across = Step(line, kLines);
        longest.along_u =
            std::max(longest.along_u, length([&](float along) { return at(along, across); }));
        longest.along_v =
            std::max(longest.along_v, length([&](float along) { return at(across, along); }));
    }
    return longest;
}

std::uint32_t Patch::GridCount() const {
    return static_cast<std::uint32_t>(parts_u_) * static_cast<std::uint32_t>(parts_v_);
}

void Patch::Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const {
    const int i = static_cast<int>(grid) % parts_u_;
    const int j = static_cast<int>(grid) / parts_u_;
    const Part part = {Step(i, parts_u_), Step(i + 1, parts_u_), Step(j, parts_v_),
                       Step(j + 1, parts_v_)};
    // Where the surface is narrower, as on the inside of a torus, fewer suffice.
    const Extent extent = Measure(part);
    const int count_u = std::min(Steps(extent.along_u, dicing_.size), dicing_.grid);
    const int count_v = std::min(Steps(extent.along_v, dicing_.size), dicing_.grid);
    const auto at = [&](float column, float row) {
        return shape_(Mix(part.u0, part.u1, column / static_cast<float>(count_u)),
                      Mix(part.v0, part.v1, row / static_cast<float>(count_v)));
    };

    // Neighbours share corners, and computing a point takes most of the time.
    const auto corners_of = [&](int row) {
        std::vector<Vec3f> corners;
        corners.reserve(static_cast<std::size_t>(count_u) + 1);
        for (int column = 0; column <= count_u; ++column)
            corners.push_back(at(static_cast<float>(column), static_cast<float>(row)).position);
        return corners;
    };

    micropolygons->clear();
    std::vector<Vec3f> below = corners_of(0);
    for (int row = 0; row < count_v; ++row) {
        std::vector<Vec3f> above = corners_of(row + 1);
        for (int column = 0; column < count_u; ++column) {
            const auto x = static_cast<float>(column);
            const auto y = static_cast<float>(row);
            const auto left = static_cast<std::size_t>(column);
            // The centre is on the surface, a little off the plane of the corners where it is
            // curved.
            const Vec3f corners[] = {below[left], below[left + 1], above[left + 1], above[left]};
            const PatchPoint centre = at(x + 0.5f, y + 0.5f);
            const Vec3f span = Cross(corners[2] - corners[0], corners[3] - corners[1]);
            float radius = 0;
            for (const Vec3f& corner : corners)
                radius = std::max(radius, Length(corner - centre.position));
            micropolygons->push_back(
                {centre.position, centre.normal, centre.normal, radius, Length(span) / 2});
        }
        below = std::move(above);
    }
}

TriangleMesh Patch::Tessellate() const {
    TriangleMesh mesh;
    for (int j = 0; j <= facets_; ++j)
        for (int i = 0; i <= facets_; ++i)
            mesh.vertices.push_back(shape_(Step(i, facets_), Step(j, facets_)).position);
    // The vertices form a square of rows; each cell of it is two triangles.
    const auto row = static_cast<std::uint32_t>(facets_ + 1);
    for (std::uint32_t j = 0; j + 1 < row; ++j) {
        for (std::uint32_t i = 0; i + 1 < row; ++i) {
            const std::uint32_t first = j * row + i;
            mesh.triangles.push_back({first, first + 1, first + row + 1});
            mesh.triangles.push_back({first, first + row + 1, first + row});
        }
    }
    return mesh;
}

SurfacePoint Patch::At(const TrianglePlace& place) const {
    // The corners of a cell's first triangle are 00, 10 and 11, those of its second 00, 11 and 01.
    const auto cell = static_cast<int>(place.triangle / 2);
    const bool is_first = place.triangle % 2 == 0;
    const float both = place.u + place.v;
    const float across = is_first ? both : place.u;
    const float along = is_first ? place.v : both;
    const auto count = static_cast<float>(facets_);
    const int column = cell % facets_;
    const int row = cell / facets_;
    const float u = (static_cast<float>(column) + across) / count;
    const float v = (static_cast<float>(row) + along) / count;
    const PatchPoint point = shape_(u, v);
    return {point.position, point.normal, point.normal};
}

}  // namespace scene
