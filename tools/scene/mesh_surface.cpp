// MeshSurface: cuts triangles into pieces, orders these, fills grids, dices a grid.
//
// Of a triangle only its pieces are kept, usually one; cells and micropolygons are made when a grid
// is diced, and not kept. Counting cells and making them share one enumeration, so that a grid
// never contains more cells than were counted for it.

#include "tools/scene/mesh_surface.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace scene {

namespace {

/// The lower 21 bits of `value`, two zero bits between each and the next.
std::uint64_t Spread(std::uint64_t value) {
    value &= 0x1FFFFF;
    value = (value | value << 32) & 0x001F00000000FFFF;
    value = (value | value << 16) & 0x001F0000FF0000FF;
    value = (value | value << 8) & 0x100F00F00F00F00F;
    value = (value | value << 4) & 0x10C30C30C30C30C3;
    value = (value | value << 2) & 0x1249249249249249;
    return value;
}

/// A point's place on the curve: the bits of its three coordinates, interleaved. The curve covers
/// the whole room.
std::uint64_t CurvePlace(Vec3f point) {
    const auto cell = [](float coordinate) {
        const float inside = std::clamp(coordinate / 2 + 0.5f, 0.0f, 1.0f);
        return Spread(static_cast<std::uint64_t>(inside * 0x1FFFFF));
    };
    return cell(point.x) | cell(point.y) << 1 | cell(point.z) << 2;
}

/// The corner at which the longest edge starts; it ends at the next one.
std::size_t LongestEdge(const std::array<Vec3f, 3>& corners) {
    std::size_t longest = 0;
    for (std::size_t i = 1; i < 3; ++i)
        if (Length(corners[(i + 1) % 3] - corners[i]) >
            Length(corners[(longest + 1) % 3] - corners[longest]))
            longest = i;
    return longest;
}

/// The middle of two points of a triangle.
Barycentric Halfway(const Barycentric& a, const Barycentric& b) {
    return {(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2};
}

}  // namespace

MeshSurface::MeshSurface(const Material& material, const Dicing& dicing, TriangleMesh mesh,
                         std::vector<Vec3f> normals, const std::optional<Vec3f>& eye)
    : Surface(material),
      dicing_(dicing),
      mesh_(std::move(mesh)),
      normals_(std::move(normals)),
      eye_(eye) {
    CutIntoPieces();
    SortAlongCurve();
    FillGrids();
}

Vec3f MeshSurface::Blended(const std::vector<Vec3f>& values, std::uint32_t triangle,
                           const Barycentric& weights) const {
    const auto& [a, b, c] = mesh_.triangles[triangle];
    return values[a] * weights[0] + values[b] * weights[1] + values[c] * weights[2];
}

std::array<Vec3f, 3> MeshSurface::CornersOf(const Piece& piece) const {
    std::array<Vec3f, 3> corners;
    for (std::size_t i = 0; i < 3; ++i)
        corners[i] = Blended(mesh_.vertices, piece.triangle, piece.corners[i]);
    return corners;
}

void MeshSurface::CutIntoPieces() {
    // A piece must not have more cells than a grid, and must not be longer than one: a grid of a
    // few long strips would extend over half the picture.
    const float longest_edge = dicing_.size * static_cast<float>(dicing_.grid);
    const int most_cells = dicing_.grid * dicing_.grid;
    std::vector<Piece> open;
    for (std::uint32_t triangle = 0; triangle < mesh_.triangles.size(); ++triangle) {
        open.push_back({triangle, {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}});
        while (!open.empty()) {
            const Piece piece = open.back();
            open.pop_back();
            const std::array<Vec3f, 3> corners = CornersOf(piece);
            const std::size_t from = LongestEdge(corners);
            const std::size_t to = (from + 1) % 3;
            if (Length(corners[to] - corners[from]) <= longest_edge &&
                CountCells(corners, dicing_.size) <= most_cells) {
                pieces_.push_back(piece);
                continue;
            }
            // Halving the longest edge makes both halves less elongated, so this ends soon.
            const Barycentric middle = Halfway(piece.corners[from], piece.corners[to]);
            open.push_back(piece);
            open.back().corners[to] = middle;
            open.push_back(piece);
            open.back().corners[from] = middle;
        }
    }
}

void MeshSurface::SortAlongCurve() {
    // Pieces at the same place of the curve keep their order, so that the result is unique.
    std::vector<std::pair<std::uint64_t, std::uint32_t>> order;
    order.reserve(pieces_.size());
    for (std::uint32_t i = 0; i < pieces_.size(); ++i) {
        const std::array<Vec3f, 3> corners = CornersOf(pieces_[i]);
        order.emplace_back(CurvePlace((corners[0] + corners[1] + corners[2]) * (1.0f / 3)), i);
    }
    std::sort(order.begin(), order.end());
    std::vector<Piece> sorted;
    sorted.reserve(pieces_.size());
    for (const auto& [place, index] : order) sorted.push_back(pieces_[index]);
    pieces_ = std::move(sorted);
}

void MeshSurface::FillGrids() {
    const int most_cells = dicing_.grid * dicing_.grid;
    int filled = most_cells;  // the first piece starts the first grid
    for (std::uint32_t i = 0; i < pieces_.size(); ++i) {
        const int cells = CountCells(CornersOf(pieces_[i]), dicing_.size);
        if (filled + cells > most_cells) {
            first_piece_.push_back(i);
            filled = 0;
        }
        filled += cells;
    }
    first_piece_.push_back(static_cast<std::uint32_t>(pieces_.size()));
}

std::uint32_t MeshSurface::GridCount() const {
    return static_cast<std::uint32_t>(first_piece_.size() - 1);
}

void MeshSurface::Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const {
    micropolygons->clear();
    std::vector<Cell> cells;
    for (std::uint32_t i = first_piece_[grid]; i < first_piece_[grid + 1]; ++i) {
        cells.clear();
        AppendCells(CornersOf(pieces_[i]), dicing_.size, &cells);
        for (const Cell& cell : cells) micropolygons->push_back(MicropolygonOf(pieces_[i], cell));
    }
}

SurfacePoint MeshSurface::PointOf(std::uint32_t triangle, const Barycentric& weights) const {
    const Vec3f position = Blended(mesh_.vertices, triangle, weights);
    const auto& [a, b, c] = mesh_.triangles[triangle];
    Vec3f facing = Normalized(
        Cross(mesh_.vertices[b] - mesh_.vertices[a], mesh_.vertices[c] - mesh_.vertices[a]));
    const Vec3f blended = Blended(normals_, triangle, weights);
    // The normals decide which side is outside, not the order of the corners. Opposite normals can
    // cancel.
    if (Dot(facing, blended) < 0) facing = -facing;
    Vec3f normal = Length(blended) > 0.1f ? Normalized(blended) : facing;
    if (eye_ && Dot(facing, *eye_ - position) < 0) {
        facing = -facing;
        normal = -normal;
    }
    return {position, normal, facing};
}

Micropolygon MeshSurface::MicropolygonOf(const Piece& piece, const Cell& cell) const {
    // A cell's points are weights of its piece's corners, and these are weights of the triangle's.
    const auto in_triangle = [&](const Barycentric& in_piece) {
        Barycentric weights{};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 3; ++k) weights[k] += in_piece[i] * piece.corners[i][k];
        return weights;
    };
    std::array<Vec3f, 4> corners;
    for (std::size_t i = 0; i < 4; ++i)
        corners[i] = Blended(mesh_.vertices, piece.triangle, in_triangle(cell.corners[i]));

    const auto [centre, normal, facing] = PointOf(piece.triangle, in_triangle(cell.middle));
    // The two diagonals of a flat cell span twice its area; a triangular cell repeats a corner.
    const Vec3f span = Cross(corners[2] - corners[0], corners[3] - corners[1]);
    float radius = 0;
    for (const Vec3f& corner : corners) radius = std::max(radius, Length(corner - centre));
    return {centre, normal, facing, radius, Length(span) / 2};
}

}  // namespace scene
