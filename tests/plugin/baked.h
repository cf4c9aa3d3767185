// One image from its opening to its closing, as a host makes it.

#pragma once

#include "tests/support/cloud_file.h"
#include "tests/support/plugin.h"
#include "tests/support/scratch.h"

struct HostBatch {
    std::vector<float> samples;
    std::size_t floats;  // of a sample
};

/// A grid of 4 samples with one float of data that starts at (x, 0, 0).
inline HostBatch Grid(float x, float radius = 0.5f) {
    std::vector<float> samples;
    for (float i = 0; i < 4; ++i)
        samples.insert(samples.end(), {x + i, 0, 0, 0, 0, 1, radius, 1 + i});
    return {samples, 8};
}

/// The file of an image that was handed `batches`. The object is loaded and unloaded for it.
inline CloudFile Baked(const HostChannels& channels, const HostParameters& parameters,
                       const std::vector<HostBatch>& batches) {
    const ScratchFolder folder;
    const Plugin plugin;
    void* const image = OpenImageOf(plugin, folder.File("a.ptc"), channels, parameters);
    EXPECT_TRUE(image);
    for (const HostBatch& batch : batches)
        EXPECT_EQ(plugin.Deliver(image, batch.samples, batch.floats), kDspySuccess);
    EXPECT_EQ(plugin.close(image), kDspySuccess);
    return {ContentOf(folder.File("a.ptc"))};
}
