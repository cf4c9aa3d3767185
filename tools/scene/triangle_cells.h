// The cells of one triangle: micropolygon-sized trapezoids and triangles that cover it.
//
// A triangle that is no larger than a micropolygon is one cell. A larger one is cut along its
// height on the longest edge into two right triangles, these into columns at right angles to that
// edge, and each column into cells: long thin triangles take no more cells than their area needs.

#pragma once

#include <array>
#include <vector>

#include "util/math/vec3.h"

namespace scene {

/// A point of the triangle by the weights of its three corners, which add up to 1.
using Barycentric = std::array<float, 3>;

/// `count` corners, 3 or 4, in order around the cell, and the point in its middle.
struct Cell {
    std::array<Barycentric, 4> corners;
    int count;
    Barycentric middle;
};

/// The number of cells that AppendCells() adds; does not make them.
int CountCells(const std::array<Vec3f, 3>& corners, float size);

/// Appends the triangle's cells to `*cells`, always in the same order. `size`: the longest edge
/// that a cell should have. Caller: the corners do not all coincide.
void AppendCells(const std::array<Vec3f, 3>& corners, float size, std::vector<Cell>* cells);

}  // namespace scene
