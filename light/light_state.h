// PtcLight::State: the files that light comes out of, and what is known of them.
//
// Units      those of ptc/light.h.
// Errors     failures are stored as the thread's last one; throws std::bad_alloc.
// Ownership  borrows its files.
// Threads    immutable once it is made, so threads share it.

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/files/managed_file.h"
#include "ptc/format/light_nodes.h"
#include "ptc/light.h"
#include "ptc/records.h"

/// A file, its root, and where its nodes and points have what light needs.
struct LightFile {
    PtcManagedFile* file = nullptr;  ///< null: left out
    std::uint32_t identity = 0;      ///< the file's when the state was made
    std::int64_t root_reference = 0;
    std::int64_t points = 0;  ///< no octree leads to more
    std::int64_t nodes = 0;   ///< likewise
    PtcNode root{};           ///< its data are `root_data`
    std::vector<float> root_data;
    light_nodes::LightData data;
    std::int32_t area = -1;    ///< offset in a point's data; below 0: the area is pi r^2
    std::int32_t colour = -1;  ///< likewise of 3 floats; below 0: black
};

struct PtcLight::State {
    std::vector<LightFile> files;
    bool is_whole = true;    ///< every file is used
    std::uint64_t life = 0;  ///< of the caches; after a shutdown the handles are of no use

    /// Throws std::bad_alloc.
    void AddFiles(const PtcLightClouds& clouds);
};
