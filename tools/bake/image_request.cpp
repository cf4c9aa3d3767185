// ImageRequest: collects parameters and channels, and writes samples in the channels' order.
//
// The interface's structures point to texts and values that must outlive the call, so each value is
// first stored where it stays, and then the structure points to it.

#include "tools/bake/image_request.h"

#include <utility>

namespace bake {

namespace {

/// Named like a renderer's outputs: the output's own name, a bar, the declaration.
/// AppendSample() gives the values in this order.
constexpr const char* kChannels[] = {
    "_area|varying float _area",
    "rgba|varying color _radiosity",
    "_occlusion|varying float _occlusion",
    "_reflected|varying color _reflected",
};

/// 32-bit float, most significant byte first; a driver sets the order that it needs.
constexpr unsigned kFloatBigEndian = 1 | kDspyBigEndian;

}  // namespace

ImageRequest::ImageRequest(const scene::Camera& camera, const DriverSettings& settings)
    : width_(camera.Width()), height_(camera.Height()) {
    const scene::Matrix& to_eye = camera.WorldToEye();
    const scene::Matrix& to_ndc = camera.WorldToNdc();
    AddFloats("Nl", {to_eye.begin(), to_eye.end()});
    AddFloats("NP", {to_ndc.begin(), to_ndc.end()});
    AddFloats("OriginalSize", {static_cast<float>(width_), static_cast<float>(height_)});
    AddFloats("PixelAspectRatio", {1});

    // A driver may have other defaults than this program, so only the parameters that the user has
    // given are sent.
    const auto add_flag = [&](const char* name, const std::optional<bool>& flag) {
        if (flag) AddInteger(name, *flag ? 1 : 0);
    };
    const auto add_float = [&](const char* name, const std::optional<float>& value) {
        if (value) AddFloats(name, {*value});
    };
    add_flag("EliminateDuplicateGrids", settings.eliminate_duplicates);
    add_flag("Simplify", settings.simplify);
    add_float("MaxDist", settings.max_dist);
    add_float("MinDot", settings.min_dot);
    add_float("MaxDiff", settings.max_diff);
    add_flag("RasterSpace", settings.raster_space);
    if (settings.buffer_size) AddInteger("BufferSize", *settings.buffer_size);

    for (const char* channel : kChannels)
        formats_.push_back({channels_.emplace_back(channel).data(), kFloatBigEndian});
}

void ImageRequest::AddFloats(const char* name, std::vector<float> values) {
    const std::vector<float>& kept = floats_.emplace_back(std::move(values));
    parameters_.push_back({name, 'f', static_cast<signed char>(kept.size()), kept.data(),
                           static_cast<int>(kept.size() * sizeof(float))});
}

void ImageRequest::AddInteger(const char* name, int value) {
    parameters_.push_back({name, 'i', 1, &integers_.emplace_back(value), int{sizeof(int)}});
}

// The seven floats that every sample begins with, then kChannels.
void AppendSample(const scene::Micropolygon& micropolygon, const scene::Shade& shade,
                  std::vector<float>* samples) {
    const auto& [centre, normal, facing, radius, area] = micropolygon;
    const auto& [light, occlusion, reflected] = shade;
    samples->insert(samples->end(),
                    {centre.x, centre.y, centre.z, normal.x, normal.y, normal.z, radius, area,
                     light.x, light.y, light.z, occlusion, reflected.x, reflected.y, reflected.z});
}

}  // namespace bake
