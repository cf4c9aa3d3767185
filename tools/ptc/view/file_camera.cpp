// FileCamera: the shape of the frame.

#include "tools/ptc/view/file_camera.h"

namespace view {

namespace {

/// Shapes beyond this are taken for damage.
constexpr double kMostAspect = 8;

}  // namespace

/// This is the stored format and not the reader's default for it, which belongs to no cloud in
/// particular.
double FrameAspect(const StoredHeader& cloud) {
    const auto [width, height, pixel] = cloud.stored_format;
    if (!(width >= 1 && height >= 1)) return kUsualAspect;
    const double aspect = double{width} / height * (pixel > 0 ? double{pixel} : 1.0);
    return aspect >= 1 / kMostAspect && aspect <= kMostAspect ? aspect : kUsualAspect;
}

}  // namespace view
