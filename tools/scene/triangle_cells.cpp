// The cells of one triangle: cuts it at the height, into columns, into cells.
//
//               /|\            The height is on the longest edge, so its foot lies between the
//            /__| |  \         ends and both halves are right triangles. A half is cut into columns
//         /__|__| |__  \       on the longer of its two short sides; a column gets another cell
//      /__|__|__| |__|__ \     wherever the half has become higher by one. The column at the tip
//     tip       foot    tip    is a fan of triangles.

#include "tools/scene/triangle_cells.h"

#include <numbers>

#include "tools/scene/surface.h"

namespace scene {

namespace {

/// One of the two right triangles that meet in the height on the longest edge. Columns are on
/// the leg from tip to foot, which is the longer one: they rise at most as fast as they get wide.
struct RightTriangle {
    Barycentric tip;
    Barycentric foot;  ///< the right angle
    Barycentric apex;
    float leg;     ///< from tip to foot
    float height;  ///< from foot to apex
};

constexpr Barycentric Blend(const Barycentric& a, const Barycentric& b, float t) {
    return {a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t, a[2] + (b[2] - a[2]) * t};
}

/// A height this near to a corner, in cells, is moved to the corner, because the cut would leave a
/// sliver on that side.
constexpr float kSliver = 1e-2f;

/// The corner opposite to the longest edge.
std::size_t ApexOf(const std::array<Vec3f, 3>& corners) {
    std::size_t apex = 0;
    float longest = -1;
    for (std::size_t i = 0; i < 3; ++i) {
        const float length = Length(corners[(i + 2) % 3] - corners[(i + 1) % 3]);
        if (length > longest) {
            longest = length;
            apex = i;
        }
    }
    return apex;
}

/// Both halves; a half without an extent has a leg of 0.
std::array<RightTriangle, 2> CutAtHeight(const std::array<Vec3f, 3>& corners, float size) {
    constexpr std::array<Barycentric, 3> kCorner = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const std::size_t apex = ApexOf(corners);
    const std::size_t start = (apex + 1) % 3;
    const std::size_t end = (apex + 2) % 3;
    const Vec3f edge = corners[end] - corners[start];
    const Vec3f to_apex = corners[apex] - corners[start];
    const float length = Length(edge);
    const float sliver = kSliver * size / length;
    const float exact = Dot(to_apex, edge) / Dot(edge, edge);
    const float share = exact < sliver ? 0 : exact > 1 - sliver ? 1 : exact;
    const float height = Length(to_apex - edge * share);
    const Barycentric foot = Blend(kCorner[start], kCorner[end], share);
    const auto half = [&](const Barycentric& tip, float along) -> RightTriangle {
        if (along == 0) return {};
        if (along < height) return {kCorner[apex], foot, tip, height, along};
        return {tip, foot, kCorner[apex], along, height};
    };
    return {half(kCorner[start], length * share), half(kCorner[end], length * (1 - share))};
}

/// No corner is farther from the middle than it would be in a square of edge `size`.
bool IsOneCell(const std::array<Vec3f, 3>& corners, float size) {
    const Vec3f middle = (corners[0] + corners[1] + corners[2]) * (1.0f / 3);
    float farthest = 0;
    for (const Vec3f& corner : corners) farthest = std::max(farthest, Length(corner - middle));
    return farthest <= size * (std::numbers::sqrt2_v<float> / 2);
}

Barycentric Middle(const Cell& cell) {
    Barycentric middle{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(cell.count); ++i)
        for (std::size_t k = 0; k < 3; ++k) middle[k] += cell.corners[i][k];
    for (float& weight : middle) weight /= static_cast<float>(cell.count);
    return middle;
}

/// A place in a right triangle: a column, and one cell of it.
struct Place {
    int column, columns, row, rows;
};

Cell CellAt(const RightTriangle& half, const Place& place) {
    const auto share = [](int i, int n) { return static_cast<float>(i) / static_cast<float>(n); };
    const auto at = [&](int column, int row) {
        const float along = share(column, place.columns);
        return Blend(Blend(half.tip, half.foot, along), Blend(half.tip, half.apex, along),
                     share(row, place.rows));
    };
    Cell cell{{at(place.column + 1, place.row), at(place.column + 1, place.row + 1),
               at(place.column, place.row + 1), at(place.column, place.row)},
              // The column at the tip is a fan: its cells' third and fourth corner coincide.
              place.column == 0 ? 3 : 4,
              {}};
    cell.middle = Middle(cell);
    return cell;
}

/// Calls `use(half, place)` for every cell of a triangle that has more than one.
template <class Use>
void ForEachPlace(const std::array<Vec3f, 3>& corners, float size, const Use& use) {
    for (const RightTriangle& half : CutAtHeight(corners, size)) {
        if (half.leg == 0) continue;
        const int columns = Steps(half.leg, size);
        for (int column = 0; column < columns; ++column) {
            const float tall = half.height * static_cast<float>(column + 1);
            const int rows = Steps(tall / static_cast<float>(columns), size);
            for (int row = 0; row < rows; ++row) use(half, Place{column, columns, row, rows});
        }
    }
}

}  // namespace

int CountCells(const std::array<Vec3f, 3>& corners, float size) {
    if (IsOneCell(corners, size)) return 1;
    int count = 0;
    ForEachPlace(corners, size, [&](const RightTriangle&, const Place&) { ++count; });
    return count;
}

void AppendCells(const std::array<Vec3f, 3>& corners, float size, std::vector<Cell>* cells) {
    if (IsOneCell(corners, size)) {
        Cell whole{{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 1}}}, 3, {}};
        whole.middle = Middle(whole);
        cells->push_back(whole);
        return;
    }
    ForEachPlace(corners, size, [&](const RightTriangle& half, const Place& place) {
        cells->push_back(CellAt(half, place));
    });
}

}  // namespace scene
