// DiscCanvas: discs in space, drawn in any order, the nearest on top.
//
// Every pixel is a square of kSide x kSide samples. A sample keeps the nearest disc that covers
// it, and a pixel is the mean of its samples' light, so edges are smooth and no more than the
// samples is kept, for any number of discs.
//
// Discs that overlap in one plane are equally near. To part them along the line half way between
// their centres, in any order, a disc is taken to bend away from the eye towards
// its edge, by a quarter of its radius.
//
// Units      world units for discs, pixels for the canvas; a camera's raster counts samples.
// Errors     none; what lies outside, behind the eye, or reaches the eye's plane is left out.
// Ownership  owns its samples, 8 bytes each.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "tools/picture/picture.h"
#include "tools/picture/srgb.h"
#include "tools/ptc/view/disc_batch.h"
#include "tools/ptc/view/raster_disc.h"
#include "tools/ptc/view/sample_lanes.h"
#include "tools/ptc/view/view_camera.h"
#include "util/math/vec3.h"

namespace view {

class DiscCanvas {
public:
    /// Samples along a pixel's side.
    static constexpr int kSide = kPixelSide;

    /// A canvas of `width` x `height` pixels without discs.
    DiscCanvas(int width, int height);

    /// Draws both faces of the disc alike. One that is smaller than a pixel is drawn as a dot of
    /// about a pixel, so that points far away do not break up.
    void Draw(const ViewCamera& camera, const Disc& disc, Rgb colour);

    /// What a batch does not know of a disc, by its tag.
    struct Looks {
        std::function<Vec3d(std::size_t tag)> normal;
        /// False: the disc has no colour and is left out. Asked for once a disc is seen.
        std::function<bool(std::size_t tag, Rgb* colour)> colour;
    };

    /// Draws the discs of `batch` in their order, as Draw() does.
    void DrawAll(const ViewCamera& camera, DiscBatch* batch, const Looks& looks);

    /// Puts the canvas at the upper left corner of `picture`, over what is there.
    void PutOnto(Picture* picture, const Srgb& srgb) const;

private:
    /// No dot covers more samples along a row or a column.
    static constexpr int kDotSide = 4;
    /// Discs between the one that is drawn and the one whose samples are fetched: about as long as
    /// memory takes.
    static constexpr std::size_t kAhead = 16;

    /// Samples from x0 to x1 and y0 to y1, both included.
    struct Box {
        int x0, y0, x1, y1;
    };
    struct DotCover {
        std::size_t first;  ///< the upper left sample
        lanes::Mask rows[kDotSide];
    };

    bool Clip(const RasterDisc& disc, Box* box) const;
    void DrawClipped(const RasterDisc& disc, const Box& box, std::uint32_t colour);
    void DrawFace(const RasterDisc& disc, const Box& box, std::uint32_t colour);
    void DrawDot(const RasterDisc& disc, const Box& box, std::uint32_t colour);
    void Fetch(const DiscBatch& batch, std::size_t i) const;
    bool FindCover(double x, double y, float nearness, DotCover* cover) const;
    void PutDot(const DotCover& cover, float nearness, std::uint32_t colour);

    /// Of four samples from `sample` on, those of `mask`.
    void Put(std::size_t sample, lanes::Mask mask, lanes::Four nearness, std::uint32_t colour) {
        using namespace lanes;
        const Four near = mask ? nearness : Load<Four>(&nearness_[sample]);
        const FourWhole all = mask ? FourWhole{} + colour : Load<FourWhole>(&colours_[sample]);
        std::memcpy(&nearness_[sample], &near, sizeof near);
        std::memcpy(&colours_[sample], &all, sizeof all);
    }

    void Cover(int x, int y, double nearness, std::uint32_t colour);
    LinearRgb MeanLight(int x, int y, const LinearRgb& behind, const Srgb& srgb) const;

    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(x);
    }

    int width_;   ///< samples
    int height_;  ///< likewise
    // Of each sample.
    std::vector<float> nearness_;
    std::vector<std::uint32_t> colours_;  ///< three bytes, red the lowest
};

}  // namespace view
