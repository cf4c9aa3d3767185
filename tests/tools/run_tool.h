// Running the tool of a test program, in a folder of its own.

#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/golden.h"
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

    /// Runs a line of the shell, in which the tool goes by its name. No configuration of the
    /// machine or its user applies, except for a lumenarc.ini that the test has written.
    ToolRun Shell(const std::string& line) const {
        const std::string alone =
            "unset LUMR_ARCHITECTURE LUMR_DRIVERPATH LUMR_DUMP_DEFAULTS; "
            "export LUMRCONFIG=/dev/null HOME='" +
            streams_.File("") + "'; ";
        const std::string whole = alone + kName + "() { '" TOOL "' \"$@\"; }; cd '" + Path("") +
                                  "' && { " + line + "; } >'" + streams_.File("out") + "' 2>'" +
                                  streams_.File("err") + "'";
        const int status = std::system(whole.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ContentOf(streams_.File("out")),
                ContentOf(streams_.File("err"))};
    }

    ToolRun Run(const std::string& arguments) const { return Shell(kName + " " + arguments); }

    /// Runs the commands of a golden transcript, the lines that begin with "$ ". Each is followed
    /// by what it prints: standard output, standard error with "! " in front of each line, and
    /// "[N]" for an exit status above 0. `after` runs behind each command.
    void ExpectTranscript(
        const std::string& name, const std::function<void()>& after = [] {}) const {
        std::istringstream lines(ContentOf("tests/golden/" + name));
        std::string seen;
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("# ")) seen += line + '\n';
            if (!line.starts_with("$ ")) continue;
            SCOPED_TRACE(line);
            const ToolRun run = Shell(line.substr(2));
            seen.append(line).append("\n").append(run.out);
            std::istringstream errors(run.err);
            for (std::string error; std::getline(errors, error);) seen += "! " + error + '\n';
            if (run.status != 0) seen += "[" + std::to_string(run.status) + "]\n";
            after();
        }
        EXPECT_NE(seen, "") << name << " is missing: run from the repository root";
        ExpectGolden(name, seen);
    }

    /// A conversion that must succeed without a word.
    void Convert(const std::string& arguments) const {
        const ToolRun run = Run("convert " + arguments);
        EXPECT_EQ(run.status, 0) << arguments;
        EXPECT_EQ(run.out + run.err, "") << arguments;
    }

private:
    inline static const std::string kName = std::filesystem::path(TOOL).filename();
    const ScratchFolder folder_;
    const ScratchFolder streams_;
};
