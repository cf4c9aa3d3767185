// LightClouds: looking at the inputs, organising those that need it, opening.

#include "tools/ptc/light/light_clouds.h"

#include <optional>
#include <utility>

#include "ptc/cloud/reader.h"
#include "ptc/format/light_nodes.h"
#include "ptc/organise.h"
#include "tools/clouds/space_check.h"
#include "tools/common/failure.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/organise/library_progress.h"

namespace lighting {

namespace {

/// What a file has for light.
struct FileLight {
    explicit FileLight(const std::string& path) {
        std::string why;
        const auto cloud = OpenCloud(path.c_str(), &why, {.is_quiet = true});
        if (!cloud) return;
        is_cloud = true;
        data = FindLightData(cloud->node_variables);
        // The library uses no octree of a file that it cannot read at any place.
        has_nodes = cloud->node_count > 0 && !cloud->input.IsText() && !cloud->input.IsCompressed();
    }

    std::optional<light_nodes::LightData> data;
    bool is_cloud = false;
    bool has_nodes = false;
};

bool IsOf(const light_nodes::LightData& data, const LightChannels& channels) {
    const std::string color = data.has_power ? data.power_channel : "";
    return channels.color.value_or(color) == color &&
           channels.area.value_or(data.area_channel) == data.area_channel;
}

}  // namespace

LightClouds::LightClouds(const LibraryInputs& inputs, const LightChannels& channels, int threads,
                         Notes notes)
    : inputs_(inputs), temporaries_(static_cast<std::size_t>(inputs.Count())) {
    std::vector<PtcManagedFile*> handles;
    for (int file = 0; file < inputs.Count(); ++file) {
        const std::string path = UsablePath(file, channels, threads, notes);
        const FileLight light(path);
        if (light.data) has_colour_ = has_colour_ || light.data->has_power;
        if (file == 0 && light.data) area_channel_ = light.data->area_channel;
        if (!light.has_nodes) {
            // An empty tile is as good as any other.
            if (notes == Notes::kOfEachFile)
                Tell("ptc", inputs[file].Name() + ": has no points that light could come out of");
            continue;
        }
        // Not by its name, under which another temporary file may have been known.
        files_.emplace_back(PtcOpenAlone(path.c_str()));
        if (!files_.back()) Fail();
        handles.push_back(files_.back().get());
    }
    light_ = std::make_unique<PtcLight>(
        PtcLightClouds{.files = handles.data(), .file_count = static_cast<int>(handles.size())});
    if (!*light_) Fail();
}

/// What to open for light out of `file`.
std::string LightClouds::UsablePath(int file, const LightChannels& channels, int threads,
                                    Notes notes) {
    const InputFile& input = inputs_[file];
    const FileLight light(input.Path());
    if (light.has_nodes && light.data && IsOf(*light.data, channels)) return input.Path();
    if (notes == Notes::kOfEachFile && light.is_cloud)
        Tell("ptc", input.Name() + ": is organized with light into a temporary file first" +
                        (light.has_nodes && light.data ? ", of other channels" : ""));
    Organise(file, channels, threads);
    return temporaries_[static_cast<std::size_t>(file)]->Path();
}

void LightClouds::Organise(int file, const LightChannels& channels, int threads) {
    auto& temporary = temporaries_[static_cast<std::size_t>(file)];
    temporary = std::make_unique<TemporaryCloud>();
    CheckSpace(temporary->Path(), inputs_[file].Name() + ": its temporary file",
               LeastBytes(inputs_, file, 1));
    LibraryProgress progress;
    PtcOrganiseRequest request;
    request.inputs = inputs_.Paths() + file;
    request.input_count = 1;
    request.output = temporary->Path().c_str();
    request.threads = threads;
    request.progress = LibraryProgress::Show;
    request.context = &progress;
    request.light = true;
    if (channels.color) request.light_color = channels.color->c_str();
    if (channels.area) request.light_area = channels.area->c_str();
    if (!PtcOrganise(request, nullptr)) Fail();
    temporary->HideFile();
}

void LightClouds::Fail() const {
    const std::string text = inputs_.FailureText();
    for (std::size_t file = 0; file < temporaries_.size(); ++file)
        if (temporaries_[file] && text.starts_with(temporaries_[file]->Path() + ':'))
            throw Failure(inputs_[static_cast<int>(file)].Name() + ": its temporary file" +
                          text.substr(temporaries_[file]->Path().size()));
    throw Failure(text);
}

}  // namespace lighting
