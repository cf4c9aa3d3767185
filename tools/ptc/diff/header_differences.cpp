// The numbers of two headers: their names and their comparison.

#include "tools/ptc/diff/header_differences.h"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace {

constexpr const char* kLargestRadius = "largest_radius";

using NamedNumbers = std::vector<std::pair<std::string, float>>;

void AddBoxCorner(const char* name, const std::array<float, 3>& corner, NamedNumbers* numbers) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        numbers->emplace_back(fmt::format("{}_{}", name, "xyz"[axis]), corner[axis]);
}

void AddMatrix(const char* name, const std::array<float, 16>& matrix, NamedNumbers* numbers) {
    for (std::size_t i = 0; i < matrix.size(); ++i)
        numbers->emplace_back(fmt::format("{}[{}][{}]", name, i / 4, i % 4), matrix[i]);
}

NamedNumbers NumbersOf(const CloudHeader& header) {
    NamedNumbers numbers;
    AddBoxCorner("box_min", header.box_min, &numbers);
    AddBoxCorner("box_max", header.box_max, &numbers);
    numbers.emplace_back(kLargestRadius, header.largest_radius);
    numbers.emplace_back("x_resolution", static_cast<float>(header.x_resolution));
    numbers.emplace_back("y_resolution", static_cast<float>(header.y_resolution));
    numbers.emplace_back("pixel_aspect", header.pixel_aspect);
    AddMatrix("world_to_eye", header.world_to_eye, &numbers);
    AddMatrix("world_to_ndc", header.world_to_ndc, &numbers);
    return numbers;
}

}  // namespace

std::vector<HeaderDifference> CompareHeaders(const CloudHeader& a, const CloudHeader& b,
                                             const DiffLimits& limits) {
    const NamedNumbers of_a = NumbersOf(a);
    const NamedNumbers of_b = NumbersOf(b);
    std::vector<HeaderDifference> differences;
    for (std::size_t i = 0; i < of_a.size(); ++i) {
        const auto& [name, value] = of_a[i];
        const float other = of_b[i].second;
        if (name == kLargestRadius && !BothHold(a, b, kLargestRadiusVersion)) continue;
        if (!IsSameNumber(value, other))
            differences.push_back({name, value, other, AreAlike(value, other, limits)});
    }
    return differences;
}
