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
#include <vector>

#include "tools/common/vec3.h"
#include "tools/ptc/srgb.h"
#include "tools/ptc/view/picture.h"
#include "tools/ptc/view/view_camera.h"

namespace view {

/// All of it is finite, the radius not negative.
struct Disc {
    Vec3d centre;
    Vec3d normal;  ///< of any length; the null vector: the disc faces the eye
    double radius = 0;
};

class DiscCanvas {
public:
    /// Samples along a pixel's side.
    static constexpr int kSide = 3;

    /// A canvas of `width` x `height` pixels without discs.
    DiscCanvas(int width, int height);

    /// Draws both faces of the disc alike. One that is smaller than a pixel is drawn as a dot of
    /// about a pixel, so that points far away do not break up.
    void Draw(const ViewCamera& camera, const Disc& disc, Rgb colour);

    /// Puts the canvas at the upper left corner of `picture`, over what is there.
    void PutOnto(Picture* picture, const Srgb& srgb) const;

private:
    struct RasterDisc;
    struct Box;

    static bool ToRaster(const ViewCamera& camera, const Disc& disc, RasterDisc* raster);
    bool Clip(const RasterDisc& disc, Box* box) const;
    void DrawFace(const RasterDisc& disc, const Box& box, Rgb colour);
    void DrawDot(const RasterDisc& disc, const Box& box, Rgb colour);
    void Cover(int x, int y, double nearness, Rgb colour);
    Light MeanLight(int x, int y, const Light& behind, const Srgb& srgb) const;

    struct Sample {
        float nearness;
        Rgb colour;
    };

    int width_;   ///< samples
    int height_;  ///< likewise
    std::vector<Sample> samples_;
};

}  // namespace view
