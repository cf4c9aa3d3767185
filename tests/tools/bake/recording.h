// What a bake told the recording driver, read back.

#pragma once

#include <algorithm>
#include <set>
#include <sstream>

#include "tests/tools/run_tool.h"
#include "util/math/vec3.h"

/// A sample as the driver gets it.
struct Sample {
    Vec3f position;
    Vec3f normal;
    float radius;
    float area;
    Vec3f radiosity;
    float occlusion;
    Vec3f reflected;
};

struct RecordedGrid {
    std::string bytes;
    std::vector<Sample> samples;
};

struct Recording {
    std::vector<std::string> calls;  ///< one line for each that delivers nothing, in their order
    std::vector<RecordedGrid> grids;

    /// The values of a parameter that was sent.
    std::vector<float> Floats(const std::string& name) const {
        std::vector<float> values;
        for (const std::string& call : calls) {
            if (!call.starts_with(name + " f ")) continue;
            std::istringstream words(call.substr(name.size() + 3));
            for (float value; words >> value;) values.push_back(value);
            values.erase(values.begin());  // how many bytes they are
        }
        return values;
    }

    /// The samples of each grid once, however often it came.
    std::vector<Sample> DistinctSamples() const {
        std::set<std::string_view> seen;
        std::vector<Sample> samples;
        for (const auto& [bytes, some] : grids)
            if (seen.insert(bytes).second) samples.insert(samples.end(), some.begin(), some.end());
        return samples;
    }
};

/// Bakes into `file`; cheap unless `arguments` say otherwise.
inline ToolRun Bake(const ToolFolder& folder, const std::string& file,
                    const std::string& arguments) {
    return folder.Run("--driver " RECORDING_DRIVER " --density 24 --rays 2 --output " + file + " " +
                      arguments);
}

/// Bakes and reads the recording. `mesh`: the text of a mesh file, if there is to be one.
inline Recording Record(const std::string& arguments, const std::string& mesh = "",
                        const std::string& mesh_file = "mesh.off") {
    const ToolFolder folder;
    folder.Write(mesh_file, mesh);
    const ToolRun run =
        Bake(folder, "image", arguments + (mesh.empty() ? "" : " --mesh " + mesh_file));
    EXPECT_EQ(run.status, 0) << run.err;
    Recording recording;
    std::istringstream calls(folder.Content("image"));
    for (std::string line; std::getline(calls, line);) {
        int first = 0, last = 0, bytes = 0;
        if (std::sscanf(line.c_str(), "grid %d %d %d", &first, &last, &bytes) != 3) {
            recording.calls.push_back(line);
            continue;
        }
        EXPECT_EQ(first, 0);
        EXPECT_EQ(bytes, (last + 1) * int{sizeof(Sample)});
        RecordedGrid grid{std::string(static_cast<std::size_t>(bytes), '\0'), {}};
        calls.read(grid.bytes.data(), bytes);
        grid.samples.resize(grid.bytes.size() / sizeof(Sample));
        std::copy(grid.bytes.begin(), grid.bytes.end(),
                  reinterpret_cast<char*>(grid.samples.data()));
        recording.grids.push_back(std::move(grid));
    }
    return recording;
}
