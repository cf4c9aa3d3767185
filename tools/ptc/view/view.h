// `ptc view`: a point cloud file drawn as a picture.
//
// The points are read twice: once for the box around them, the range of their values and whether
// the file's camera sees them, once to draw them. What is kept in between does not grow with their
// number; the picture takes 75 bytes for each of its pixels.

#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "ptc/cloud/reader.h"
#include "tools/common/input_file.h"
#include "tools/picture/picture.h"
#include "tools/ptc/view/legend.h"
#include "tools/ptc/view/view_camera.h"

namespace view {

enum class CameraChoice {
    kAutomatic,  ///< fitted where a direction is given; else the file's when it sees the cloud
    kFile,
    kFit,
};

struct PictureSize {
    int width = 0;
    int height = 0;
};

/// An option that says nothing about what is shown of this file: wrong usage, not a failure.
class WrongUsage : public std::runtime_error {
public:
    WrongUsage(std::string option, const std::string& reason)
        : runtime_error(reason), option_(std::move(option)) {}
    const std::string& Option() const { return option_; }

private:
    std::string option_;
};

/// The colour behind the points of a picture, unless another one is given.
inline constexpr Rgb kUsualBackground{0x28, 0x28, 0x28};

struct ViewOptions {
    std::string input;   ///< "-": standard input
    std::string output;  ///< "-": standard output
    std::string variable;
    std::optional<PictureSize> size;  ///< none: the frame's shape, 1024 along the longer side
    CameraChoice camera = CameraChoice::kAutomatic;
    std::optional<Direction> direction;  ///< of a fitted camera
    std::optional<Rgb> background;
    std::optional<double> exposure;   ///< stops; none: 0
    std::optional<ValueRange> range;  ///< none: as the values are; 0 to 1 of light
    double point_scale = 1;           ///< what radii are multiplied by
};

class Colouring;

/// Opens a cloud, all of which can be read. Throws Failure.
std::unique_ptr<CloudReader> OpenToDraw(const InputFile& input);

/// Throws WrongUsage for an option that has no effect on what `colouring` shows.
void CheckColourOptions(const ViewOptions& options, const Colouring& colouring);

/// The picture of `input`, which takes the place of the options' own. Throws as View() does.
Picture Draw(const InputFile& input, const ViewOptions& options);

/// Draws the picture and writes it. Throws Failure or WrongUsage; then nothing is written.
/// Caller: gives no direction together with the file's camera.
void View(const ViewOptions& options);

}  // namespace view
