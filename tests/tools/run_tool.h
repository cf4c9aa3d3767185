// Running the tool of a test program, in a folder of its own.

#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "tests/support/scratch.h"

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

/// A folder with a test's files. The program runs in it, so that arguments are bare names.
class ToolFolder {
public:
    std::string Path(const std::string& name) const { return folder_.File(name); }
    std::string Content(const std::string& name) const { return ContentOf(Path(name)); }

    void Write(const std::string& name, const std::string& bytes) const {
        WriteTo(Path(name), bytes);
    }

    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.File("")))
            names.insert(entry.path().filename());
        return names;
    }

    /// Runs the tool with the arguments as a shell splits them; it may be a longer command.
    ToolRun Run(const std::string& arguments) const {
        const std::string line = "cd '" + Path("") + "' && { '" TOOL "' " + arguments + "; } >'" +
                                 streams_.File("out") + "' 2>'" + streams_.File("err") + "'";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ContentOf(streams_.File("out")),
                ContentOf(streams_.File("err"))};
    }

    /// A conversion that must succeed without a word.
    void Convert(const std::string& arguments) const {
        const ToolRun run = Run("convert " + arguments);
        EXPECT_EQ(run.status, 0) << arguments;
        EXPECT_EQ(run.out + run.err, "") << arguments;
    }

private:
    ScratchFolder folder_;
    ScratchFolder streams_;
};
