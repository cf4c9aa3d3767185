// The projection and image format that all open images share: the latest open wins.
//
// KEPT: they belong to the process, not to an image, so two images that are open at once measure
// raster distances with the values of the one opened last.
// Test: Plugin.TwoImagesShareTheLatestProjection
//
// Units      matrix row-major, row vectors; format in pixels and width over height of a pixel.
// Threads    any; one mutex guards both values.

#pragma once

#include <array>
#include <span>

#include "util/host/parameters.h"

struct Projection {
    std::array<float, 16> world_to_ndc{};
    std::array<float, 3> format{};  ///< x resolution, y resolution, pixel aspect ratio
};

/// Stores "NP", "OriginalSize" and "PixelAspectRatio" of an image that is being opened, and answers
/// the new projection. Without "NP" the matrix is the identity, without "OriginalSize" the
/// resolution stays unchanged, without "PixelAspectRatio" the ratio is 0.
Projection UpdateProjection(std::span<const Parameter> parameters);

Projection CurrentProjection();
