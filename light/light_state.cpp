// PtcLight::State: opening the files' roots, finding the channels.

#include "light/light_state.h"

#include <algorithm>
#include <span>

#include "ptc/access/lookup.h"
#include "ptc/cloud/cloud_messages.h"

namespace {

/// The offset of point variable `name` with `size` floats. Below 0: there is none.
std::int32_t OffsetOf(const CloudVariables& variables, const std::string& name, int size) {
    std::int32_t offset = 0;
    for (std::size_t i = 0; i < variables.names.size(); ++i) {
        if (variables.names[i] == name && variables.sizes[i] == size) return offset;
        offset += variables.sizes[i];
    }
    return -1;
}

bool NoLight(const PtcManagedFile& file, const char* why) {
    SetFailure(PtcFailureCode::kBadArgument, file.Name(), "has no data for light", 0, why);
    return false;
}

/// Where the nodes and the points have what light needs. False: the failure is stored.
bool FindChannels(LightFile* use) {
    const CloudHeader& header = *use->file->Header();
    auto data = FindLightData(header.node_variables);
    if (!data) return NoLight(*use->file, "organize it with 'ptc organize --light'");
    use->data = *data;
    if (!data->area_channel.empty()) {
        use->area = OffsetOf(header.point_variables, data->area_channel, 1);
        if (use->area < 0) return NoLight(*use->file, "its area channel is not there");
    }
    if (data->has_power) {
        use->colour = OffsetOf(header.point_variables, data->power_channel, 3);
        if (use->colour < 0) return NoLight(*use->file, "its colour channel is not there");
    }
    return true;
}

/// Fills `use` with what is needed of `file`. False: the failure is stored.
bool Use(PtcManagedFile* file, LightFile* use) {
    PtcThreadCache* const cache = ThisThreadCache();
    if (!cache) throw std::bad_alloc();
    if (!file || file->HasOutlivedManager() || !file->IsReading()) {
        SetNoRecord(file, "");
        return false;
    }
    use->file = file;
    use->identity = file->Identity();
    use->points = file->PointCount();
    // A text file has no places that can be read without those before them.
    if (file->Header()->node_count == 0 || file->IsText())
        return NoLight(*file, "organize it with 'ptc organize --light'");
    if (!FindChannels(use)) return false;
    const PtcNode* const root = RootRecord(cache, file);
    if (!root) return false;
    use->root = *root;
    use->root_data.assign(root->data, root->data + file->FloatsPerNode());
    use->root.data = nullptr;
    use->root_reference = file->Header()->root_position;
    use->nodes = file->Header()->node_count;
    return true;
}

}  // namespace

void PtcLight::State::AddFiles(const PtcLightClouds& clouds) {
    const int count = std::clamp(clouds.file_count, 0, kPtcMostLookupFiles);
    if (clouds.file_count > kPtcMostLookupFiles) {
        is_whole = false;
        cloud_messages::TooManyClouds();
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "more than 100 files in one lookup");
    }
    files.resize(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < files.size(); ++i) {
        LightFile& use = files[i];
        if (::Use(clouds.files[i], &use)) continue;
        use.file = nullptr;
        is_whole = false;
    }
    life = life_of_caches.load(std::memory_order_relaxed);
}
