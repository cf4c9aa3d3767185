// Running pcbake from a test, and reading what the recording driver wrote down.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/bake/camera.h"

/// What a run of the program left behind.
struct HostRun {
    int status;
    std::string out;
    std::string err;
};

/// Runs the program with the arguments as a shell would split them; its output goes into pipes.
HostRun RunHost(const std::string& arguments);

/// A file name of this test process alone, in the system's folder for such files.
std::string ScratchFile(const std::string& name);

/// Writes `text` into a scratch file and answers its name.
std::string WriteScratch(const std::string& name, const std::string& text);

std::string ReadFile(const std::string& name);

/// The recording driver as an option, for cheap bakes unless `arguments` say otherwise.
HostRun RunRecorded(const std::string& file, const std::string& arguments);

struct Sample {
    bake::Vec3 position;
    bake::Vec3 normal;
    float radius;
    float area;
    bake::Vec3 radiosity;
    float occlusion;
};

struct RecordedGrid {
    std::string line;  ///< the call as recorded, bit by bit
    std::vector<Sample> samples;
};

struct Recording {
    std::map<std::string, std::string> parameters;  ///< by name: type, count, bytes, value bits
    std::vector<std::string> channels;
    std::vector<RecordedGrid> grids;
    std::vector<std::string> other;  ///< lines of other calls, in their order
};

/// Bakes with the recording driver and reads the recording; fails the test when the bake fails.
Recording Record(const std::string& arguments);

/// The bits of a recorded parameter as floats.
std::vector<float> Floats(const std::string& parameter);
