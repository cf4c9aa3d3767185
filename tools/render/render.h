// Render: the picture of a scene, by camera rays.
//
// Units      linear light.
// Errors     a Failure of the lighting.
// Ownership  borrows everything it is given.
// Threads    one caller; uses threads of its own. The picture is the same for any number of them.

#pragma once

#include "tools/common/progress.h"
#include "tools/picture/linear_picture.h"
#include "tools/render/lighting.h"
#include "tools/scene/camera.h"
#include "tools/scene/ray_tracer.h"

namespace render {

/// What a picture is made of.
struct View {
    const scene::Camera& camera;
    const scene::RayTracer& tracer;
    const Lighting& lighting;
};

/// `samples`: camera rays a pixel. Where a ray hits nothing, the picture is black.
///
/// Of the hits in one pixel, those near each other on one surface share their smooth light: it is
/// found at the one in their middle. So it costs as much as a picture with one sample a pixel,
/// apart from the edges of things.
LinearPicture Render(const View& view, int samples, int threads, Progress* progress);

}  // namespace render
