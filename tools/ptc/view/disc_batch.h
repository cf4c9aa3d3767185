// DiscBatch: discs that are drawn one after the other, as a camera sees their centres.
//
// A disc that is surely drawn as a dot needs no more than its centre's place and nearness. This is
// the case for almost all points of a large cloud, and takes a fifth of the time that a disc's
// outline takes.
//
// Units      as in tools/ptc/view/discs.h.
// Errors     none.
// Ownership  owns its numbers.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tools/ptc/view/raster_disc.h"
#include "tools/ptc/view/view_camera.h"
#include "util/math/vec3.h"

namespace view {

/// Below which radius a disc is surely a dot, for one camera and one canvas.
///
/// Half an ellipse's box is at most r |x - w X| / (W - r |w|) wide, where X is the raster place and
/// W the depth of its centre: the two axes are at right angles. |x - w X| is largest at an edge of
/// the canvas. So r below W over a constant of the camera is enough. What is lost to rounding is
/// far below the slack.
class DotLimit {
public:
    /// `width`, `height`: of the canvas, in samples.
    DotLimit(const ViewCamera& camera, int width, int height);

    /// Whether a disc of `radius` with its centre at `depth`, within the canvas or less than two
    /// samples off, is a dot. Then one that is farther off does not reach the canvas.
    bool IsBelow(double radius, double depth) const { return radius * slope_ < depth; }

private:
    double slope_;
};

/// A dot's samples are less than this from its centre.
inline constexpr double kDotReach = 2;
static_assert(kDotRadius + 0.01 < kDotReach);

/// Whether all samples of a dot at (`x`, `y`) and their neighbours are on the canvas.
inline bool HoldsDot(double x, double y, int width, int height) {
    return x >= kDotReach && x < width - kDotReach - 1 && y >= kDotReach &&
           y < height - kDotReach - 1;
}

enum class DiscKind : std::uint8_t {
    kNothing,  ///< surely not on the canvas
    kDot,      ///< surely a dot, with all of its samples on the canvas
    kOther,    ///< anything, also one of these
};

class DiscBatch {
public:
    static constexpr std::size_t kMost = 512;

    void Clear() { count_ = 0; }
    bool IsFull() const { return count_ == kMost; }
    std::size_t Count() const { return count_; }

    /// Adds a disc. `tag`: any number of the caller's. Caller: not IsFull(); what is given is
    /// finite, the radius not negative.
    void Add(const Vec3d& centre, double radius, bool has_normal, std::size_t tag);

    /// Finds what every disc is.
    void Project(const ViewCamera& camera, const DotLimit& limit, int width, int height);

    Vec3d Centre(std::size_t i) const { return {x_[i], y_[i], z_[i]}; }
    double Radius(std::size_t i) const { return radius_[i]; }
    std::size_t Tag(std::size_t i) const { return tag_[i]; }

    // Caller: has called Project().
    DiscKind Kind(std::size_t i) const { return kind_[i]; }
    double RasterX(std::size_t i) const { return raster_x_[i]; }
    double RasterY(std::size_t i) const { return raster_y_[i]; }
    float Nearness(std::size_t i) const { return nearness_[i]; }

private:
    template <class Number>
    using Column = std::array<Number, kMost>;

    std::size_t count_ = 0;
    Column<double> x_, y_, z_, radius_;
    Column<std::size_t> tag_;
    Column<bool> has_normal_;
    Column<double> depth_, raster_x_, raster_y_;
    Column<float> nearness_;
    Column<DiscKind> kind_;
};

}  // namespace view
