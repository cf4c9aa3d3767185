// FileCamera: the camera that a cloud's header describes, and whether it looks at the cloud.
//
// Units      as in tools/ptc/view/view_camera.h.
// Errors     none.
// Ownership  holds only numbers.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <optional>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/view/view_camera.h"

namespace view {

/// Shape of a picture without a file's camera.
inline constexpr double kUsualAspect = 4.0 / 3;

/// Width over height of the frame that the file was made in; the usual one if the header has none,
/// or none that can be.
double FrameAspect(const StoredHeader& cloud);

class FileCamera {
public:
    explicit FileCamera(const StoredHeader& cloud)
        : camera_(CameraOfMatrix(cloud.stored_world_to_ndc, Frame{1, 1, 1})) {}

    /// Counts the point if it is in the camera's view.
    void Look(const Vec3d& position) {
        double x = 0, y = 0;
        if (camera_ && camera_->Project(position, &x, &y))
            in_view_ += x >= 0 && x <= 1 && y >= 0 && y <= 1;
    }

    /// Whether the header has a camera at all.
    bool IsThere() const { return camera_.has_value(); }

    /// Whether it sees enough of the `points` that it has looked at to be theirs: a matrix that has
    /// nothing to do with a cloud sees some of it by chance.
    bool Sees(std::uint64_t points) const { return in_view_ > 0 && in_view_ * kOneIn >= points; }

private:
    static constexpr std::uint64_t kOneIn = 100;

    std::optional<ViewCamera> camera_;
    std::uint64_t in_view_ = 0;
};

}  // namespace view
