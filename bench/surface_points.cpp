// The surfaces, diced into grids.

#include "bench/surface_points.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace surface_points {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr int kGrid = 16;

/// A function over the unit square, and about how long its two sides are.
struct Surface {
    float along_u;
    float along_v;
    void (*at)(float u, float v, Point* point);
};

void Store(Point* point, float x, float y, float z, float nx, float ny, float nz) {
    *point = {{x, y, z}, {nx, ny, nz}, {0.5f + 0.5f * x, 0.5f + 0.5f * y, 0.5f + 0.5f * z}};
}

constexpr Surface kSurfaces[] = {
    {2, 2, [](float u, float v, Point* p) { Store(p, 2 * u - 1, -1, 2 * v - 1, 0, 1, 0); }},
    {2, 2, [](float u, float v, Point* p) { Store(p, 2 * u - 1, 1, 2 * v - 1, 0, -1, 0); }},
    {2, 2, [](float u, float v, Point* p) { Store(p, -1, 2 * u - 1, 2 * v - 1, 1, 0, 0); }},
    {2, 2, [](float u, float v, Point* p) { Store(p, 1, 2 * u - 1, 2 * v - 1, -1, 0, 0); }},
    {2, 2, [](float u, float v, Point* p) { Store(p, 2 * u - 1, 2 * v - 1, 1, 0, 0, -1); }},
    {2, 1.5f,
     [](float u, float v, Point* p) {  // equal areas
         const float y = 2 * v - 1;
         const float r = std::sqrt(std::max(0.0f, 1 - y * y));
         const float x = r * std::cos(2 * kPi * u);
         const float z = r * std::sin(2 * kPi * u);
         Store(p, 0.4f + 0.5f * x, -0.4f + 0.5f * y, 0.2f + 0.5f * z, x, y, z);
     }},
    {2.2f, 0.8f,
     [](float u, float v, Point* p) {
         const float x = std::cos(2 * kPi * u) * std::cos(2 * kPi * v);
         const float y = std::sin(2 * kPi * v);
         const float z = std::sin(2 * kPi * u) * std::cos(2 * kPi * v);
         const float ring = 0.35f;
         Store(p, -0.5f + ring * std::cos(2 * kPi * u) + 0.12f * x, -0.6f + 0.12f * y,
               -0.4f + ring * std::sin(2 * kPi * u) + 0.12f * z, x, y, z);
     }},
};

float Area() {
    float area = 0;
    for (const Surface& surface : kSurfaces) area += surface.along_u * surface.along_v;
    return area;
}

int Steps(float length, float spacing) {
    return std::max(1, static_cast<int>(length / (spacing * kGrid) + 0.5f)) * kGrid;
}

float Offset(std::mt19937& random) {
    return static_cast<float>(random() % 65536) / 65536 - 0.5f;
}

}  // namespace

float Spacing(std::int64_t count) {
    return std::sqrt(Area() / static_cast<float>(count));
}

std::vector<Point> Make(std::int64_t count) {
    std::mt19937 random(1);
    std::vector<Point> points;
    points.reserve(static_cast<std::size_t>(count) * 5 / 4);
    for (const Surface& surface : kSurfaces) {
        const int nu = Steps(surface.along_u, Spacing(count));
        const int nv = Steps(surface.along_v, Spacing(count));
        for (int grid = 0; grid < nu / kGrid * (nv / kGrid); ++grid)
            for (int cell = 0; cell < kGrid * kGrid; ++cell) {
                const int i = grid % (nu / kGrid) * kGrid + cell % kGrid;
                const int j = grid / (nu / kGrid) * kGrid + cell / kGrid;
                // A little jitter, so that no two distances are equal.
                const float u = (static_cast<float>(i) + 0.5f + 0.2f * Offset(random));
                const float v = (static_cast<float>(j) + 0.5f + 0.2f * Offset(random));
                surface.at(u / static_cast<float>(nu), v / static_cast<float>(nv),
                           &points.emplace_back());
            }
    }
    return points;
}

std::vector<float> RandomPlaces(const std::vector<Point>& points, std::size_t count,
                                unsigned seed) {
    const float spacing = Spacing(static_cast<std::int64_t>(points.size()));
    std::mt19937 random(seed);
    std::vector<float> places;
    for (std::size_t i = 0; i < count; ++i) {
        const Point& point = points[random() % points.size()];
        for (const float at : point.position) places.push_back(at + spacing * Offset(random));
    }
    return places;
}

std::vector<float> Walk(const std::vector<Point>& points, std::size_t count, unsigned seed) {
    const float spacing = Spacing(static_cast<std::int64_t>(points.size()));
    std::mt19937 random(seed);
    std::vector<float> places;
    const std::size_t first = random() % (points.size() - count);
    for (std::size_t i = 0; i < count; ++i)
        for (const float at : points[first + i].position)
            places.push_back(at + 0.5f * spacing * Offset(random));
    return places;
}

}  // namespace surface_points
