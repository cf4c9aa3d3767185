// Clouds of any points, with any tree over them that readers must accept.

#pragma once

#include <random>
#include <string>
#include <vector>

#include "ptc/format/record_code.h"
#include "tests/support/clouds.h"

/// A point with the data "color glow" and "float number".
struct TreePoint {
    PointHead head;
    std::array<float, 4> data;
};

/// What a file declares of "color glow" and "float number".
enum class Declared { kGlowNumber, kNumberGlow, kNumberOnly, kGlowIsFloat };

struct TreeShape {
    bool has_tree = true;
    TokenForm form = TokenForm::kBinary;
    Declared declared = Declared::kGlowNumber;

    std::size_t leaf_points = 16;   ///< most in a leaf
    bool is_sorted = true;          ///< along a curve; else nodes cover runs of the order given
    bool has_strays_behind = true;  ///< points without a finite position are behind the root's run
    bool nodes_share_box = false;   ///< every node has the box of the root
    unsigned single_children_in =
        8;  ///< one of as many nodes has one child that covers the same run
};

/// The bytes of such a cloud. Boxes enclose the spheres of the points whose positions are finite;
/// a radius that is not finite counts as 0. `random` draws where nodes are divided.
std::string TreeCloud(std::vector<TreePoint> points, const TreeShape& shape, std::mt19937& random);
