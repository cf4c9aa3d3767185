// `ptc view`: a point cloud file drawn as a picture.
//
// The points are read twice: once for the box around them, the range of their values and whether
// the file's camera sees them, once to draw them. What is kept in between does not grow with their
// number; the picture takes 75 bytes for each of its pixels.

#pragma once

#include <optional>
#include <string>

#include "tools/ptc/legend.h"
#include "tools/ptc/picture.h"
#include "tools/ptc/view_camera.h"

namespace view {

enum class CameraChoice {
    kAutomatic,  ///< the file's when it sees the cloud, else a fitted one
    kFile,
    kFit,
};

struct PictureSize {
    int width = 0;
    int height = 0;
};

struct ViewOptions {
    std::string input;   ///< "-": standard input
    std::string output;  ///< "-": standard output
    std::string variable;
    std::optional<PictureSize> size;  ///< none: the frame's shape, 1024 along the longer side
    CameraChoice camera = CameraChoice::kAutomatic;
    Direction direction;
    Rgb background{0x28, 0x28, 0x28};
    double exposure = 0;              ///< stops
    std::optional<ValueRange> range;  ///< none: as the values are
    double point_scale = 1;           ///< what radii are multiplied by
};

/// Draws the picture and writes it. Throws Failure; then nothing is written.
void View(const ViewOptions& options);

}  // namespace view
