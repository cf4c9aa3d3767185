// Spacing: the box of all points, and its faces shared among them.

#include "tools/ptc/convert/spacing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace convert {

namespace {

constexpr std::size_t kPiecePoints = 1024;

struct Extent {
    float least = std::numeric_limits<float>::max();
    float most = std::numeric_limits<float>::lowest();

    void Include(float value) {
        if (!std::isfinite(value)) return;
        least = std::min(least, value);
        most = std::max(most, value);
    }
    double Length() const { return std::max(0.0, static_cast<double>(most) - least); }
};

}  // namespace

float RadiusFromSpacing(PointSource& source) {
    const std::size_t record = source.Header().PointBytes();
    std::vector<std::byte> piece(kPiecePoints * record);
    std::array<Extent, 3> box;
    double count = 0;
    for (std::size_t read = kPiecePoints; read == kPiecePoints;) {
        read = source.Read(piece);
        for (std::size_t i = 0; i < read; ++i) {
            std::array<float, 3> position;
            std::memcpy(position.data(), &piece[i * record], sizeof position);
            for (std::size_t axis = 0; axis < 3; ++axis) box[axis].Include(position[axis]);
        }
        count += static_cast<double>(read);
    }
    if (count == 0) return 0;
    const double x = box[0].Length(), y = box[1].Length(), z = box[2].Length();
    const double faces = 2 * (x * y + y * z + z * x);
    // Points on a line have no faces to lie on.
    const double spacing = faces > 0 ? std::sqrt(faces / count) : (x + y + z) / count;
    return static_cast<float>(spacing / 2);
}

}  // namespace convert
