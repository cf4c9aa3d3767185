// Running pcbake from a test: shell, pipes and the recording's lines.

#include "tests/tools/bake/host.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

/// Words of eight hexadecimal digits, from the stream's place to its end.
std::vector<float> FloatsFrom(std::istream& words) {
    std::vector<float> floats;
    for (std::string word; words >> word;)
        floats.push_back(
            std::bit_cast<float>(static_cast<unsigned>(std::stoul(word, nullptr, 16))));
    return floats;
}

RecordedGrid ParseGrid(const std::string& line) {
    constexpr std::size_t kFloats = 12;
    RecordedGrid grid{line, {}};
    std::istringstream words(line);
    std::string tag;
    int first = 0;
    int last = 0;
    int bytes = 0;
    words >> tag >> first >> last >> bytes;
    const std::vector<float> f = FloatsFrom(words);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(f.size(), static_cast<std::size_t>(last + 1) * kFloats);
    EXPECT_EQ(f.size() * sizeof(float), static_cast<std::size_t>(bytes));
    for (std::size_t i = 0; i + kFloats <= f.size(); i += kFloats)
        grid.samples.push_back({{f[i], f[i + 1], f[i + 2]},
                                {f[i + 3], f[i + 4], f[i + 5]},
                                f[i + 6],
                                f[i + 7],
                                {f[i + 8], f[i + 9], f[i + 10]},
                                f[i + 11]});
    return grid;
}

}  // namespace

std::string ScratchFile(const std::string& name) {
    return testing::TempDir() + "pcbake." + std::to_string(getpid()) + "." + name;
}

std::string WriteScratch(const std::string& name, const std::string& text) {
    std::string file = ScratchFile(name);
    std::ofstream(file) << text;
    return file;
}

std::string ReadFile(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
}

HostRun RunHost(const std::string& arguments) {
    const std::string out = ScratchFile("out");
    const std::string err = ScratchFile("err");
    const std::string command = PCBAKE " " + arguments + " >" + out + " 2>" + err;
    const int status = std::system(command.c_str());
    HostRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out), ReadFile(err)};
    std::remove(out.c_str());
    std::remove(err.c_str());
    return run;
}

HostRun RunRecorded(const std::string& file, const std::string& arguments) {
    return RunHost("--driver " RECORDING_DRIVER " --density 24 --rays 2 --output " + file + " " +
                   arguments);
}

Recording Record(const std::string& arguments) {
    const std::string file = ScratchFile("recording");
    const HostRun run = RunRecorded(file, arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    Recording recording;
    std::istringstream lines(ReadFile(file));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string tag;
        words >> tag;
        if (tag == "grid") {
            recording.grids.push_back(ParseGrid(line));
        } else if (tag == "parameter") {
            std::string name;
            std::string rest;
            std::getline(words >> name >> std::ws, rest);
            recording.parameters[name] = rest;
        } else if (tag == "channel") {
            recording.channels.push_back(line.substr(tag.size() + 1));
        } else {
            recording.other.push_back(line);
        }
    }
    std::remove(file.c_str());
    return recording;
}

std::vector<float> Floats(const std::string& parameter) {
    std::istringstream words(parameter);
    std::string type;
    std::string count;
    std::string bytes;
    words >> type >> count >> bytes;
    return FloatsFrom(words);
}
