// Opens an image: reads names, options and channels, creates the file, fills the handle.

#include <algorithm>
#include <new>
#include <string_view>

#include "driver/driver_messages.h"
#include "driver/image.h"
#include "util/host/runtime.h"

namespace {

constexpr int kDefaultBufferSize = 10000;

/// Makes the host deliver little-endian values, whatever byte order it has proposed.
void ChooseByteOrder(std::span<DspyFormat> formats) {
    constexpr unsigned kBoth = kDspyBigEndian | kDspyLittleEndian;
    for (DspyFormat& format : formats) format.type = (format.type & ~kBoth) | kDspyLittleEndian;
}

/// The parameters that concern repeated batches and thinning.
struct Options {
    int drops_duplicates = runtime::HostWorkers() > 1 ? 1 : 0;
    int simplifies = 0;
    int buffer_size = kDefaultBufferSize;
    SimplifySettings settings;
};

Options ReadOptions(std::span<const Parameter> parameters) {
    Options options;
    SimplifySettings& settings = options.settings;
    int is_raster_space = 0;
    FindInteger("EliminateDuplicateGrids", &options.drops_duplicates, parameters);
    FindInteger("Simplify", &options.simplifies, parameters);
    FindFloat("MaxDist", &settings.max_distance, parameters);
    FindFloat("MinDot", &settings.min_dot, parameters);
    FindFloat("MaxDiff", &settings.max_difference, parameters);
    FindInteger("RasterSpace", &is_raster_space, parameters);
    FindInteger("BufferSize", &options.buffer_size, parameters);
    settings.is_raster_space = is_raster_space != 0;
    return options;
}

std::vector<const char*> Texts(const std::vector<std::string>& strings) {
    std::vector<const char*> texts;
    texts.reserve(strings.size());
    for (const std::string& text : strings) texts.push_back(text.c_str());
    return texts;
}

/// Creates the file. `file_name`: the host's name, even if empty; only the handle has the default
/// name.
std::unique_ptr<CloudWriter> CreateFile(const std::string& file_name, const Channels& channels,
                                        std::span<const Parameter> parameters,
                                        const Projection& projection, std::string* why) {
    std::array<float, 16> world_to_eye{};
    const bool has_eye = FindMatrix("Nl", world_to_eye, parameters) == ParameterStatus::kFound;
    const std::vector<const char*> types = Texts(channels.types);
    const std::vector<const char*> names = Texts(channels.names);

    CloudDescription description;
    description.file_name = file_name.c_str();
    description.point_variables = {static_cast<int>(types.size()), types.data(), names.data()};
    description.world_to_eye = has_eye ? world_to_eye.data() : nullptr;
    description.world_to_ndc = projection.world_to_ndc.data();
    std::copy(projection.format.begin(), projection.format.end(), description.format);
    return CreateCloud(description, why);
}

void FillHandle(Options options, const Channels& channels, PointCloudImage* image) {
    image->variable_count = static_cast<std::int32_t>(channels.types.size());
    image->variable_sizes = channels.sizes;
    if (options.drops_duplicates) image->duplicates.emplace();
    if (!options.simplifies) return;
    options.settings.area_flags = AreaFlags(channels);
    image->simplifier.emplace(
        Simplifier{std::move(options.settings),
                   PointBuffer(options.buffer_size, static_cast<std::size_t>(channels.row_size))});
}

}  // namespace

DriverStatus OpenImage(const OpenRequest& request, PointCloudImage** image) {
    const char* const driver_name = request.driver_name;
    const std::string given_name = request.file_name ? request.file_name : "";
    if (given_name.size() > kMaxFileName) {
        driver_messages::FileNameIsTooLong(driver_name);
        return DriverStatus::kBadParameters;
    }
    std::unique_ptr<PointCloudImage> opened(new (std::nothrow) PointCloudImage);
    if (!opened) return DriverStatus::kSuccess;
    if (driver_name) opened->driver_name = driver_name;
    opened->file_name = given_name.empty() ? kDefaultFileName : given_name;

    ChooseByteOrder(request.formats);
    const Projection projection = UpdateProjection(request.parameters);
    const Options options = ReadOptions(request.parameters);
    Channels channels;
    const DriverStatus read = ReadChannels(driver_name, request.formats, &channels);
    if (Failed(read)) return read;

    std::string why;
    opened->writer = CreateFile(given_name, channels, request.parameters, projection, &why);
    if (!opened->writer) {
        driver_messages::FileCannotBeCreated(driver_name, given_name, why);
        return DriverStatus::kNoResource;
    }
    FillHandle(options, channels, opened.get());
    *image = opened.release();
    return DriverStatus::kSuccess;
}
