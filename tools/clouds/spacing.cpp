// Spacing: the sample, and the median.

#include "tools/clouds/spacing.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ptc/access.h"

namespace {

constexpr std::int64_t kSample = 1000;
constexpr std::int32_t kNeighbours = 8;
constexpr float kPi = 3.14159265f;

std::int64_t PointsOf(const PtcManagedFile* file) {
    PtcHeader header{};
    return file && PtcGetHeader(file, &header) ? header.points : 0;
}

/// The spacing around point `index`; 0 when it is the only one.
bool FindSpacingAt(const PtcLookup& lookup, PtcManagedFile* file, std::int64_t index,
                   float* spacing) {
    float position[3];
    float normal[3];
    if (PtcGetPoints(file, index, 1, {position, normal, nullptr, nullptr}) != 1) return false;
    const bool has_normal = normal[0] != 0 || normal[1] != 0 || normal[2] != 0;
    // The point itself comes first, or one in the same place.
    float squared[kNeighbours + 1];
    std::int32_t found = 0;
    if (!lookup.Nearest({position, has_normal ? normal : nullptr},
                        {.most = kNeighbours + 1, .least_dot = 0}, {.squared_distances = squared},
                        &found))
        return false;
    const std::int32_t nearer = std::max(found - 2, 1);
    *spacing = found < 2 ? 0 : std::sqrt(squared[found - 1] * (kPi / static_cast<float>(nearer)));
    return true;
}

}  // namespace

bool FindSpacing(const PtcLookup& lookup, std::span<PtcManagedFile* const> files, float* spacing) {
    std::int64_t total = 0;
    for (const PtcManagedFile* const file : files) total += PointsOf(file);
    const std::int64_t step = std::max<std::int64_t>(1, (total + kSample - 1) / kSample);
    std::vector<float> spacings;
    std::int64_t next = 0;  // among the points of all files
    std::int64_t begin = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::int64_t end = begin + PointsOf(files[i]);
        for (; next < end; next += step) {
            if (!lookup.UsesFile(static_cast<int>(i))) continue;
            float here = 0;
            if (!FindSpacingAt(lookup, files[i], next - begin, &here)) return false;
            if (here > 0 && std::isfinite(here)) spacings.push_back(here);
        }
        begin = end;
    }
    *spacing = 0;
    if (spacings.empty()) return true;
    const auto middle = spacings.begin() + static_cast<std::ptrdiff_t>(spacings.size() / 2);
    std::nth_element(spacings.begin(), middle, spacings.end());
    *spacing = *middle;
    return true;
}
