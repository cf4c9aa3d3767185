// The process-wide projection and image format.

#include "driver/projection.h"

#include <mutex>

namespace {

// rank  lock   count  guards
// 10    mutex  1      projection
struct Shared {
    std::mutex mutex;
    Projection projection;
};
constinit Shared shared;

}  // namespace

Projection UpdateProjection(std::span<const Parameter> parameters) {
    std::array<float, 16> matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    FindMatrix("NP", matrix, parameters);

    const std::lock_guard hold(shared.mutex);
    shared.projection.world_to_ndc = matrix;
    std::span<float, 3> format = shared.projection.format;
    format[2] = 0;
    int count = 0;
    FindFloats("OriginalSize", format.first<2>(), &count, parameters);
    FindFloats("PixelAspectRatio", format.last<1>(), &count, parameters);
    return shared.projection;
}

Projection CurrentProjection() {
    const std::lock_guard hold(shared.mutex);
    return shared.projection;
}
