// ImageRequest: the parameters and channels that a driver gets when an image is opened.
//
// Units      see Camera for the matrices; the settings are the driver's own.
// Errors     none.
// Ownership  keeps every text and value that the driver's structures point to.
// Threads    one thread at a time.

#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "ptc/dspy.h"
#include "tools/scene/camera.h"
#include "tools/scene/shader.h"
#include "tools/scene/surface.h"

namespace bake {

/// The driver's settings. An absent one is not sent, and the driver uses its own default.
struct DriverSettings {
    std::optional<bool> eliminate_duplicates;
    std::optional<bool> simplify;
    std::optional<float> max_dist;
    std::optional<float> min_dot;
    std::optional<float> max_diff;
    std::optional<bool> raster_space;
    std::optional<int> buffer_size;
};

class ImageRequest {
public:
    /// Always sends the camera's matrices and size, and those settings that are present.
    ImageRequest(const scene::Camera& camera, const DriverSettings& settings);
    ImageRequest(const ImageRequest&) = delete;
    ImageRequest& operator=(const ImageRequest&) = delete;

    /// The picture's size that a driver gets, in pixels.
    int Width() const { return width_; }
    int Height() const { return height_; }
    /// Valid as long as this object lives.
    const std::vector<DspyParameter>& Parameters() const { return parameters_; }

    /// The channels in the order of AppendSample(). Not constant: a driver writes into the type
    /// words.
    std::vector<DspyFormat>& Formats() { return formats_; }

private:
    /// `name`: a literal. The values are copied.
    void AddFloats(const char* name, std::vector<float> values);
    void AddInteger(const char* name, int value);

    const int width_;
    const int height_;
    std::deque<std::vector<float>> floats_;  // deques keep their elements in place when they grow
    std::deque<int> integers_;
    std::deque<std::string> channels_;
    std::vector<DspyParameter> parameters_;
    std::vector<DspyFormat> formats_;
};

/// Floats of one sample: position, normal and radius, then the channels in their order.
inline constexpr std::size_t kSampleFloats = 7 + 1 + 3 + 1 + 3;

/// The index of the sample's area among them.
inline constexpr std::size_t kSampleArea = 7;

/// Appends one sample to `*samples`.
void AppendSample(const scene::Micropolygon& micropolygon, const scene::Shade& shade,
                  std::vector<float>* samples);

}  // namespace bake
