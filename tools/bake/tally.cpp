// Tally: sorts the first positions of grids into cubes.

#include "tools/bake/tally.h"

#include <array>
#include <cmath>

#include "tools/bake/image_request.h"

namespace bake {

namespace {

void AddTo(Amount* sum, const Amount& more) {
    sum->samples += more.samples;
    sum->area += more.area;
}

/// On one axis, the number of a place's cube, and that of the neighbour to which it is nearer.
std::array<std::uint64_t, 2> CubesAt(float coordinate, double edge) {
    const double place = double{coordinate} / edge;
    const double own = std::floor(place);
    const double other = place - own < 0.5 ? own - 1 : own + 1;
    // 21 bits hold all cubes of the room at the finest dicing, on either side of 0.
    const auto bits = [](double cube) {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(cube)) & 0x1FFFFF;
    };
    return {bits(own), bits(other)};
}

}  // namespace

// A place nearer than half an edge is in the same cube, or in a neighbour on the nearer side.
Tally::Tally(float size) : edge_(double{size} / 16) {}

void Tally::Add(const std::vector<float>& samples) {
    Amount grid;
    for (std::size_t at = 0; at < samples.size(); at += kSampleFloats)
        AddTo(&grid, {1, double{samples[at + kSampleArea]}});
    AddTo(&all_, grid);
    if (!MayRepeat(grid.samples, samples.data())) AddTo(&distinct_, grid);
}

bool Tally::MayRepeat(std::uint64_t count, const float* position) {
    std::unordered_set<std::uint64_t>& begun = begun_[count];
    const auto x = CubesAt(position[0], edge_);
    const auto y = CubesAt(position[1], edge_);
    const auto z = CubesAt(position[2], edge_);
    bool found = false;
    for (std::size_t i = 0; i < 8 && !found; ++i)
        found = begun.contains(x[i & 1] << 42 | y[i >> 1 & 1] << 21 | z[i >> 2]);
    begun.insert(x[0] << 42 | y[0] << 21 | z[0]);
    return found;
}

}  // namespace bake
