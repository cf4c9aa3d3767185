// Organising that fails: each failure is told, and nothing stays.

#include "ptc/organise.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "ptc/cloud/reader.h"
#include "tests/ptc/organise_fixture.h"
#include "tests/support/cloud_file.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"

namespace {

using namespace organise_fixture;

/// A folder with inputs of all kinds of damage, and an older output.
struct FailingFolder {
    explicit FailingFolder(std::size_t count = 4000) {
        const auto points = Points(Kind::kSurface, count, 3);
        const std::string sound = CloudOf(points);
        Add("sound", sound);
        Add("other", CloudOf(points, true));
        Add("noise", "noise");
        Add("cut.gz", gzip_bytes::Beginning(sound.substr(0, sound.size() - 100)));
        Point negative = points[0];
        negative.radius = 1;
        std::string bytes = CloudOf({&negative, 1});
        Put(&bytes, CloudFile{bytes}.DataStart() + 16, -1.0f);
        Add("negative", bytes);
        bytes = sound;
        Put(&bytes, 8, 5e9);
        Add("many.gz", gzip_bytes::ManyBlocks(bytes));
        Add("fewer", MemoryCloud(WithVariables({"color"})).Finished());
        const char* const types[] = {"color", "color", "float"};
        const char* const names[] = {"_area", "glow", "x"};
        CloudDescription description{};
        description.point_variables = {2, types, names};
        Add("type", MemoryCloud(description).Finished());
        const char* const more_types[] = {"color", "float", "float"};
        const char* const more_names[] = {"glow", "_area", "x"};
        description.point_variables = {3, more_types, more_names};
        Add("more", MemoryCloud(description).Finished());
        Add("out", "older");
        std::filesystem::create_directory(folder.File("folder"));
        files = Names();
    }

    void Add(const std::string& name, const std::string& bytes) const {
        WriteTo(folder.File(name), bytes);
    }
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.File("")))
            names.insert(entry.path().filename());
        return names;
    }
    /// Whether everything is as it was.
    bool IsUntouched() const {
        return Names() == files && ContentOf(folder.File("out")) == "older";
    }

    const ScratchFolder folder;
    std::set<std::string> files;
};

TEST(PtcOrganise, AFailureNamesTheFileAndLeavesNothing) {
    struct Case {
        std::vector<std::string> inputs;
        std::string output;
        PtcFailureCode code;
        std::string text;  // behind the folder
    };
    using Code = PtcFailureCode;
    const Case cases[] = {
        {{"sound", "none"},
         "out",
         Code::kCannotOpen,
         "none: cannot be opened: No such file or directory"},
        {{"noise"},
         "out",
         Code::kNotACloud,
         "noise: cannot be opened: it is not a point cloud file"},
        {{"sound", "cut.gz"},
         "out",
         Code::kUnreadable,
         "cut.gz: point 3997 of 4000 cannot be read: Input/output error"},
        {{"negative"},
         "out",
         Code::kBadArgument,
         "negative: point 0 is refused: its radius is negative, which no point cloud holds"},
        {{"sound", "fewer"},
         "out",
         Code::kBadArgument,
         "fewer: cannot be joined: it has no variable \"float _area\", which SOUND has"},
        {{"sound", "type"},
         "out",
         Code::kBadArgument,
         "type: cannot be joined: variable \"_area\" is a \"color\", but a \"float\" in SOUND"},
        {{"sound", "more"},
         "out",
         Code::kBadArgument,
         "more: cannot be joined: it has a variable \"float x\", which SOUND has not"},
        {{"many.gz"},
         "out",
         Code::kBadArgument,
         "out: cannot be organised: 5000000000 points are more than the 2147483647 that one octree "
         "can count; organise them as 3 clouds or more, which can be looked up together"},
        {{"sound"},
         "folder",
         Code::kCannotWrite,
         "folder: cannot be written: it is no regular file"},
        {{"sound"},
         "none/out",
         Code::kCannotWrite,
         "none/out: cannot be written: No such file or directory"},
    };
    const FailingFolder files;
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.text);
        std::vector<std::string> paths;
        for (const std::string& input : tested.inputs) paths.push_back(files.folder.File(input));
        std::vector<const char*> names;
        for (const std::string& path : paths) names.push_back(path.c_str());
        const std::string output = files.folder.File(tested.output);
        PtcOrganiseRequest request{};
        request.inputs = names.data();
        request.input_count = static_cast<int>(names.size());
        request.output = output.c_str();
        EXPECT_FALSE(PtcOrganise(request, nullptr));
        std::string text = files.folder.File(tested.text);
        if (const auto at = text.find("SOUND"); at != text.npos) text.replace(at, 5, paths[0]);
        EXPECT_EQ(PtcLastFailure().text, text);
        EXPECT_EQ(PtcLastFailure().code, tested.code);
        EXPECT_TRUE(files.IsUntouched());
    }
    EXPECT_FALSE(PtcOrganise({}, nullptr));
    EXPECT_FALSE(PtcMerge({}, nullptr));
    EXPECT_EQ(PtcLastFailure().code, Code::kBadArgument);
}

TEST(PtcOrganise, ProgressGrowsToOneAndCanStopTheWork) {
    const FailingFolder files;
    struct Heard {
        int calls = 0;
        int wanted = INT_MAX;
        double last = 0;
        bool is_growing = true;
    };
    const auto hear = [](void* context, double done) {
        Heard& heard = *static_cast<Heard*>(context);
        heard.is_growing = heard.is_growing && done >= heard.last && done <= 1;
        heard.last = done;
        return ++heard.calls < heard.wanted;
    };
    const std::string input = files.folder.File("sound");
    const std::string output = files.folder.File("out");
    const char* const inputs[] = {input.c_str()};
    for (const std::int64_t memory : {30'000, 1 << 30}) {
        PtcOrganiseRequest request{.inputs = inputs, .input_count = 1, .output = output.c_str()};
        request.memory = memory;
        request.threads = 2;
        request.progress = hear;
        Heard heard;
        request.context = &heard;
        for (heard.wanted = 1;; heard.wanted += 3) {
            heard.calls = 0;
            heard.last = 0;
            OrganiseFailure failure;
            if (OrganiseClouds(request, nullptr, &failure)) break;
            ASSERT_EQ(failure.code, PtcFailureCode::kStopped);
            ASSERT_EQ(heard.calls, heard.wanted);
            ASSERT_TRUE(files.IsUntouched());
        }
        EXPECT_TRUE(heard.is_growing);
        EXPECT_EQ(heard.last, 1);
        EXPECT_GT(heard.wanted, 1);  // how often more depends on when the threads get on
        files.Add("out", "older");
    }
}

/// Runs in a process of its own, in which no file may grow beyond `limit` bytes. 0: the work
/// failed as it should, naming `folder` for the parts or the output; 1: it was done.
int OrganiseWithin(rlim_t limit, Request request, const std::string& folder) {
    const rlimit most{limit, limit};
    setrlimit(RLIMIT_FSIZE, &most);
    const std::string why = Organise(request);
    if (why.empty()) return 1;
    const bool is_named = why.starts_with(folder + ": parts of the points cannot be written") ||
                          why.starts_with(request.output + ": cannot be written");
    return is_named ? 0 : 2;
}

TEST(PtcOrganise, AFullDiskAnywhereIsToldAndLeavesNothing) {
    const FailingFolder files;
    const std::string parts = files.folder.File("folder");
    setenv("TMPDIR", parts.c_str(), 1);
    for (const std::int64_t memory : {30'000, 1 << 30}) {
        const Request request{.inputs = {files.folder.File("sound")},
                              .output = files.folder.File("out"),
                              .memory = memory,
                              .threads = 2};
        int done = 0;
        for (rlim_t limit = 0; done < 2; limit += 9973) {
            SCOPED_TRACE(limit);
            const pid_t child = fork();
            if (child == 0) _exit(OrganiseWithin(limit, request, parts));
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2) << status;
            EXPECT_TRUE(std::filesystem::is_empty(parts));
            if (WEXITSTATUS(status) == 0) {
                EXPECT_EQ(done, 0);
                EXPECT_TRUE(files.IsUntouched());
            } else {
                ++done;
            }
        }
        files.Add("out", "older");
    }
    setenv("TMPDIR", "/proc", 1);
    const std::string why = Organise(
        {.inputs = {files.folder.File("sound")}, .output = files.folder.File("out"), .memory = 1});
    EXPECT_EQ(why, "/proc: a file for parts of the points cannot be made: ");
    unsetenv("TMPDIR");
    EXPECT_TRUE(files.IsUntouched());
}

TEST(PtcOrganise, AKilledProcessLeavesNothing) {
    const FailingFolder files(40'000);
    const std::string parts = files.folder.File("folder");
    const Request request{.inputs = {files.folder.File("sound")},
                          .output = files.folder.File("new"),
                          .memory = 100'000};
    for (useconds_t delay = 0; delay < 30'000; delay += 3'000) {
        const pid_t child = fork();
        if (child == 0) {
            setenv("TMPDIR", parts.c_str(), 1);
            (void)Organise(request);
            for (;;) pause();
        }
        usleep(delay);
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        EXPECT_TRUE(std::filesystem::is_empty(parts));
        for (const std::string& name : files.Names())
            EXPECT_TRUE(files.files.contains(name) || name == "new") << name;
        std::filesystem::remove(request.output);
    }
}

}  // namespace
